#include "host/transfer/versions.h"

#include <algorithm>
#include <utility>

#include "host/common/path.h"
#include "host/transfer/remote_tree.h"

namespace b2drive {
namespace {

bool IsStoredBy(const Entry& version, const timespec& time) {
  const timespec& stored = version.uploaded;
  return std::pair(stored.tv_sec, stored.tv_nsec) <= std::pair(time.tv_sec, time.tv_nsec);
}

// What is shown of each name, of a listing in which the versions of a name follow each other.
Listing ShownAt(const Listing& versions, const timespec& time) {
  Listing shown;
  for (auto at = versions.begin(); at != versions.end();) {
    const auto end = std::find_if(at, versions.end(), [&](const Entry& other) {
      return other.folder || other.name != at->name;
    });
    if (at->folder) {
      shown.push_back(*at++);
      continue;
    }
    if (const auto found = VersionAt({at, end}, time)) shown.push_back(*found);
    at = end;
  }
  return shown;
}

}  // namespace

Listing VersionsOf(PatientDrive& versions, PathIndex& index, const std::string& path) {
  if (IsRoot(path) || IsBucket(path)) return {};
  const std::string name = NameOf(path);
  Listing found = versions.ListNamed(index.FolderId(ParentOf(path)), name, path);
  std::erase_if(found, [&](const Entry& entry) { return entry.folder || entry.name != name; });
  return found;
}

bool IsHideMarker(const Entry& version) {
  return version.details && version.details->action == "hide";
}

std::string FileIdOf(const Entry& version) { return version.id.substr(version.id.find('/') + 1); }

Entry FindVersion(const Listing& versions, const std::string& id, const std::string& path) {
  const auto found = std::ranges::find_if(
      versions, [&](const Entry& version) { return version.id == id || FileIdOf(version) == id; });
  if (found != versions.end()) return *found;
  throw HostError(ExitCode::kNotFound, path,
                  "has no version " + id + "; b2drive versions shows those that there are");
}

std::optional<Entry> VersionAt(const Listing& versions, const timespec& time) {
  const auto found = std::ranges::find_if(
      versions, [&](const Entry& version) { return IsStoredBy(version, time); });
  if (found == versions.end() || IsHideMarker(*found)) return std::nullopt;
  return *found;
}

bool StoodAt(PatientDrive& versions, const std::string& folder_id, const std::string& path,
             const timespec& time) {
  RefuseEndless(path);
  const Listing inside = ShownAt(versions.ListNamed(folder_id, "", path), time);
  return std::ranges::any_of(inside, [](const Entry& entry) { return !entry.folder; }) ||
         std::ranges::any_of(inside, [&](const Entry& entry) {
           return !entry.name.empty() && StoodAt(versions, entry.id, Join(path, entry.name), time);
         });
}

Listing FolderAt(PatientDrive& versions, const std::string& folder_id, const std::string& path,
                 const timespec& time) {
  Listing shown = ShownAt(versions.ListNamed(folder_id, "", path), time);
  std::erase_if(shown, [&](const Entry& entry) {
    if (!entry.folder) return entry.name == kMarkerName;
    return entry.name.empty() || !StoodAt(versions, entry.id, Join(path, entry.name), time);
  });
  return shown;
}

}  // namespace b2drive
