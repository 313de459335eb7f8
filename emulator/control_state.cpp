#include "emulator/control_state.h"

#include <cstdint>
#include <stdexcept>
#include <string>

#include "emulator/errors.h"
#include "emulator/shapes.h"
#include "emulator/state_document.h"

namespace emulator {
namespace {

using nlohmann::json;

// The newest form of a file.
constexpr int kVersion = 3;

bool WantsVersions(const Pairs& query) {
  const std::string versions = ValueOf(query, "versions");
  if (versions.empty() || versions == "false") return false;
  if (versions != "true") throw std::invalid_argument("versions must be true or false");
  return true;
}

}  // namespace

json ShowFiles(const Core& core, const Pairs& query) {
  const bool versions = WantsVersions(query);
  const std::string wanted = ValueOf(query, "bucket");
  const ListQuery all{.prefix = ValueOf(query, "prefix"), .max_count = SIZE_MAX};
  if (!wanted.empty() && !core.store.FindBucket(wanted)) throw NotFound("No bucket " + wanted);
  json files = json::array();
  for (const Bucket& bucket : core.store.Buckets()) {
    if (!wanted.empty() && bucket.name != wanted) continue;
    const ListPage page =
        versions ? core.store.ListVersions(bucket.id, all) : core.store.ListNames(bucket.id, all);
    for (const ListEntry& entry : page.entries) {
      json file = FileJson(*entry.version, {core.access.account_id(), kVersion});
      file["bucketName"] = bucket.name;
      files.push_back(std::move(file));
    }
  }
  return files;
}

json ShowState(const Core& core) { return StateDocument(core.store.Export(), core.access.Keys()); }

json ReplaceState(Core& core, const json& document) {
  const Snapshot snapshot = SnapshotFrom(document, core.store);
  core.store.Replace(snapshot.state);
  core.access.Replace(snapshot.keys);
  return {{"buckets", snapshot.state.buckets.size()}, {"files", snapshot.state.versions.size()}};
}

}  // namespace emulator
