#include "host/transfer/storage.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <vector>

#include "host/local/local_io.h"
#include "host/terminal/interrupt.h"
#include "host/terminal/report.h"

namespace b2drive {
namespace {

// Says what an upload leaves on the service, also when a signal ends the program.
class LeftoverNote {
 public:
  LeftoverNote(const UploadControl& control, const std::string& path)
      : control_(control), path_(path) {}
  // It is stored, by one of the large files that attempts began when `found` later. What failed
  // says itself what it leaves.
  void Succeed(bool found) const {
    if (control_.unfinished().files > (found ? 1 : 0)) Say();
  }

 private:
  void Say() const { Note("put", path_ + ": " + kLeftover); }

  const UploadControl& control_;
  const std::string& path_;
  const InterruptCleanup at_exit_{[this] {
    if (control_.begun()) Say();
  }};
};

}  // namespace

// The plug-in would send it as a large file of one part, of which the service wants two.
void Storage::RefuseOnePart(const std::string& path, std::uint64_t size) {
  if (size == 0 || size != drive_.PartSize()) return;
  throw HostError(ExitCode::kFailed, path,
                  "nothing was sent: exactly " + std::to_string(size) +
                      " bytes, the size of a part, is the one size that cannot be stored; make "
                      "the file a byte longer or shorter");
}

Entry Storage::PutFile(const std::string& parent_id, const std::string& path,
                       const LocalSource& source) {
  RefuseOnePart(path, source.size);
  UploadControl control;
  const LeftoverNote note(control, path);
  bool found = false;
  const auto find_stored = [&] {
    auto stored = FindStored(parent_id, path, source);
    found = stored.has_value();
    return stored;
  };
  Entry stored = drive_.Upload(parent_id, path, source.fd.get(), source.size, control, kAllRetries,
                               find_stored);
  note.Succeed(found);
  return stored;
}

std::optional<Entry> Storage::FindStored(const std::string& parent_id, const std::string& path,
                                         const LocalSource& source) {
  const std::string name = NameOf(path);
  for (const Entry& entry : drive_.List(parent_id, ParentOf(path))) {
    if (entry.folder || entry.name != name || entry.size != source.size) continue;
    if (HoldsBytesOf(source, entry, path)) return entry;
  }
  return std::nullopt;
}

bool Storage::HoldsBytesOf(const LocalSource& source, const Entry& stored,
                           const std::string& path) {
  if (stored.size == 0) return true;
  std::vector<char> mine;
  const auto compare = [&](std::uint64_t offset, const char* data, std::size_t count) {
    try {
      mine.resize(count);
      const bool same = ReadAt(source.fd.get(), mine.data(), count, offset) == count &&
                        std::memcmp(mine.data(), data, count) == 0;
      return same ? 0 : EILSEQ;
    } catch (const FsError& error) {
      return error.number();
    } catch (const std::bad_alloc&) {
      return ENOMEM;
    }
  };
  try {
    drive_.Read({stored, path, 0, stored.size}, compare);
    return true;
  } catch (const FsError& error) {
    if (error.number() != EILSEQ) throw;
    return false;
  }
}

Entry Storage::MakeFolder(const Entry& parent, const std::string& path) {
  if (IsBucket(path)) return drive_.MakeBucket(NameOf(path), path);
  CheckName(path);
  Entry folder{NameOf(path), Join(parent.id, NameOf(path)), true, 0, {}};
  UploadControl control;
  drive_.MakeMarker(folder.id, path, control);
  return folder;
}

// No listing shows the marker, so it is written once more: that gives its identifier.
bool Storage::RemoveMarker(const Entry& folder, const std::string& path) {
  if (!drive_.HasMarker(folder.id, path)) return false;
  UploadControl control;
  const Entry marker = drive_.RewriteMarker(folder.id, path, control);
  drive_.DeleteFile(marker, path, [&]() -> std::optional<Entry> {
    return drive_.HasMarker(folder.id, path) ? std::optional(marker) : std::nullopt;
  });
  return true;
}

}  // namespace b2drive
