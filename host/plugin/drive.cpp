#include "host/plugin/drive.h"

#include "host/plugin/host_log.h"
#include "host/plugin/service_failure.h"

namespace b2drive {
namespace {

// What a failed upload left behind.
std::string Leftover(AERROR code) {
  const Answer& last = HostLog::LastAnswer();
  if (last.large_files_begun > 0 || last.IsOfLargeFile()) return std::string("; ") + kLeftover;
  return code == AERROR::UPLOAD_CANCELED ? "; no file was stored" : "";
}

// Whether the latest answer was of the range asked for. The service answers a range that is the
// whole file with 200; so does whatever on the way does not know ranges, with other bytes.
bool IsRangeAnswer(const Answer& last, const Entry& file, std::uint64_t offset,
                   std::uint64_t length) {
  return last.status == 206 || (last.status == 200 && offset == 0 && length == file.size);
}

}  // namespace

void Drive::Call(const std::string& path, const std::function<AERROR()>& operation) {
  HostLog::ForgetAnswer();
  AERROR code = operation();
  if (code != AERROR::SUCCESS) throw ServiceFailure(path, code, HostLog::LastAnswer());
}

Listing Drive::List(const std::string& id, const std::string& path) {
  ListingCollector collector(view_ != View::kFiles);
  List(id, path, collector);
  return std::move(collector.listing());
}

void Drive::List(const std::string& id, const std::string& path, ListingReceiver& receiver) {
  ListingSink sink(receiver);
  try {
    Call(path, [&] { return protocol_.GetFileList(id.c_str(), &sink, nullptr); });
  } catch (const HostError&) {
    if (sink.nonsense().empty() && !sink.failure()) throw;
  }
  if (sink.failure()) std::rethrow_exception(sink.failure());
  if (sink.nonsense().empty()) return;
  throw HostError(ExitCode::kFailed, path,
                  "the service's answer makes no sense: " + sink.nonsense());
}

void Drive::Read(const Entry& file, const std::string& path, std::uint64_t offset,
                 std::uint64_t length, FetchSink& sink, const ActiveTransfer& transfer) {
  auto first = static_cast<long long>(offset);
  auto count = static_cast<long long>(length);
  try {
    Call(path, [&] {
      return protocol_.Read(file.id.c_str(), first, count, transfer.handle(), &sink, nullptr);
    });
    const Answer& last = HostLog::LastAnswer();
    if (!IsRangeAnswer(last, file, offset, length)) {
      throw HostError(ExitCode::kFailed, path,
                      "the service answered " + std::to_string(last.status) +
                          " and not with the range that was asked for");
    }
  } catch (const HostError&) {
    if (sink.error_number() == 0) throw;
  }
  if (sink.error_number() == FetchSink::kMisplaced) {
    throw HostError(ExitCode::kFailed, path, "the plug-in delivers bytes that were not asked for");
  }
  if (sink.error_number() != 0) {
    throw LocalFailure("writing " + path, sink.error_number()).About(path);
  }
  if (sink.received() != count) {
    throw HostError(ExitCode::kFailed, path,
                    "the service sent " + std::to_string(sink.received()) + " bytes instead of " +
                        std::to_string(count));
  }
}

Entry Drive::Upload(const std::string& parent_id, const std::string& name, const std::string& path,
                    std::uint64_t size, const FileAttributes& attributes, FileCache& contents,
                    const ActiveTransfer& transfer) {
  _FS_FILE_V2 record = ToRecord({name, "", false, size});
  if (attributes.modified) record.second_time = TimeText(*attributes.modified);
  record.texts.assign(attributes.texts.begin(), attributes.texts.end());
  try {
    Call(path, [&] {
      return protocol_.Upload(parent_id.c_str(), transfer.handle(), &contents, &record,
                              UPLOAD_DEFAULT, nullptr);
    });
  } catch (const HostError& error) {
    if (contents.error_number() != 0) {
      const HostError local = LocalFailure("reading for " + path, contents.error_number());
      throw HostError(local.exit_code(), local.what() + Leftover(error.code()), error.code())
          .About(path);
    }
    throw error.Saying(error.what() + Leftover(error.code()));
  }
  if (contents.bytes_read() < size) {
    throw HostError(ExitCode::kFailed, path,
                    "the plug-in says that all is stored, and has read " +
                        std::to_string(contents.bytes_read()) + " of " + std::to_string(size) +
                        " bytes");
  }
  return ToEntry(record);
}

void Drive::ShowOnly(const std::string& name) { protocol_.SetOpt("view_name", name.c_str()); }

Entry Drive::Copy(const Entry& file, const std::string& folder_id, const std::string& name,
                  const std::string& path) {
  _FS_FILE_V2 record;
  record.name = name;
  Call(path, [&] { return protocol_.Move(file.id.c_str(), folder_id.c_str(), &record, nullptr); });
  return ToEntry(record);
}

bool Drive::DeleteVersion(const Entry& version, const std::string& path) {
  _FS_FILE_V2 record = ToRecord(version);
  try {
    Call(path, [&] { return protocol_.Delete(&record, nullptr); });
    return true;
  } catch (const HostError& error) {
    if (error.code() != AERROR::FILE_NOT_FOUND) throw;
    return false;
  }
}

Entry Drive::MakeFolder(const std::string& parent_id, const std::string& name,
                        const std::string& path) {
  _FS_FILE_V2 record = ToRecord({name, "", true, 0, {}});
  Call(path, [&] { return protocol_.CreateDirectory(parent_id.c_str(), &record, nullptr); });
  record.name = name;
  return ToEntry(record);
}

bool Drive::LookUp(const std::string& id, const std::string& path, AERROR none,
                   _FS_FILE_V2& record) {
  HostLog::ForgetAnswer();
  AERROR code = protocol_.GetFileInfo(id.c_str(), &record, nullptr);
  if (code == AERROR::SUCCESS) return true;
  const Answer& last = HostLog::LastAnswer();
  if (code == none && last.status > 0 && last.status < 400) return false;
  throw ServiceFailure(path, code, last);
}

std::optional<Entry> Drive::Find(const std::string& folder_id, const std::string& name,
                                 const std::string& path) {
  _FS_FILE_V2 record;
  record.type = FS_FILE;
  record.name = name;
  if (!LookUp(folder_id, path, AERROR::FILE_NOT_FOUND, record)) return std::nullopt;
  return ToEntry(record);
}

bool Drive::HasMarker(const std::string& folder_id, const std::string& path) {
  _FS_FILE_V2 record;
  record.type = FS_DIRECTORY;
  return LookUp(folder_id, path, AERROR::FAILED, record);
}

std::uint64_t Drive::TotalBytes() {
  unsigned long long total = 0;
  Call("/", [&] { return protocol_.GetQuota(&total, nullptr); });
  return total;
}

void Drive::DeleteFile(const Entry& file, const std::string& path) {
  _FS_FILE_V2 record = ToRecord(file);
  try {
    Call(path, [&] { return protocol_.Delete(&record, nullptr); });
  } catch (const HostError& error) {
    if (error.code() != AERROR::SHARING_VIOLATION) throw;
    throw HostError(ExitCode::kFailed, path,
                    "changed meanwhile by someone else; nothing was deleted", error.code());
  }
  // The plug-in counts a file whose versions it could not list as deleted.
  const Answer& last = HostLog::LastAnswer();
  if (last.status >= 400 || !last.transport.empty()) {
    throw ServiceFailure(path, AERROR::FAILED, last);
  }
}

void Drive::DeleteFolder(const Entry& folder, const std::string& path) {
  _FS_FILE_V2 record = ToRecord(folder);
  Call(path, [&] { return protocol_.DeleteDirectory(&record, nullptr); });
}

}  // namespace b2drive
