#include "host/cli/storage.h"

#include "host/cli/commands.h"
#include "host/patient/refusal_limit.h"
#include "host/plugin/file_cache.h"
#include "host/plugin/service_failure.h"

namespace b2drive::cli {
namespace {

constexpr int kMostRepetitions = 10;

// An upload that was given up failed for what the service said last.
HostError Explain(const HostError& failure, const std::string& path, const RefusalLimit& limit) {
  if (!limit.last_straw()) return failure;
  HostError refused = ServiceFailure(path, AERROR::FAILED, *limit.last_straw());
  const std::string rest = limit.large_file_begun() ? std::string("; ") + kLeftover : "";
  return {refused.exit_code(), refused.what() + rest, refused.code()};
}

}  // namespace

void Storage::PutFile(const std::string& parent_id, const std::string& path,
                      const LocalSource& source) {
  Upload(parent_id, NameOf(path), path, source);
}

Entry Storage::MakeFolder(const Entry& parent, const std::string& path) {
  if (IsBucket(path)) return drive_.MakeFolder(parent.id, NameOf(path), path);
  Entry folder{NameOf(path), Join(parent.id, NameOf(path)), true, 0, {}};
  // Not by the plug-in's own call, which takes no handle and so could not be ended.
  Upload(folder.id, kMarkerName, path, {});
  return folder;
}

// No listing shows the marker, so it is written once more: that gives its identifier.
bool Storage::RemoveMarker(const Entry& folder, const std::string& path) {
  if (!drive_.HasMarker(folder.id, path)) return false;
  drive_.DeleteFile(Upload(folder.id, kMarkerName, path, {}), path);
  return true;
}

Entry Storage::Upload(const std::string& parent_id, const std::string& name,
                      const std::string& path, const LocalSource& source) {
  ActiveTransfer transfer(transfers_, path);
  FileCache contents(source.fd.get());
  RefusalLimit limit(transfer, Attempts(kMostRepetitions, transfers_.pauses()));
  InterruptCleanup say_what_is_left([&] {
    if (limit.large_file_begun()) Report("put", path + ": " + kLeftover);
  });
  try {
    Entry stored = drive_.Upload(parent_id, name, path, source.size, contents, transfer);
    if (stored.size == source.size) return stored;
    throw HostError(ExitCode::kFailed, path + ": the service stored another size: " +
                                           std::to_string(stored.size) + " bytes");
  } catch (const HostError& failure) {
    if (transfers_.canceled()) throw;
    throw Explain(failure, path, limit);
  }
}

}  // namespace b2drive::cli
