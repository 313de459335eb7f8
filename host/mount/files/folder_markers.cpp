#include "host/mount/files/folder_markers.h"

#include <cerrno>

#include "host/common/fs_error.h"
#include "host/common/name_rules.h"
#include "host/common/path.h"

namespace b2drive::mount {
void FolderMarkers::Make(const std::string& path) {
  if (IsBucket(path)) {
    try {
      directory_.PutEmptyFolder(path, remote_.MakeBucket(NameOf(path), path).id);
    } catch (const FsError& error) {
      // The service refuses the name, one that someone else has, or one bucket too many.
      throw FsError(error.lasting() ? EINVAL : error.number(), error.what());
    }
    return;
  }
  CheckName(path);
  const std::string id = directory_.FolderId(path);
  NoteMarker(path, MakeMarker(id, path));
  directory_.PutEmptyFolder(path, id);
}

void FolderMarkers::Remove(const std::string& path) {
  const std::string id = directory_.FolderId(path);
  if (IsBucket(path)) {
    try {
      remote_.DeleteBucket({NameOf(path), id, true, 0, {}}, path);
    } catch (const FsError& error) {
      // Old versions and hidden files, which no listing shows, keep a bucket.
      throw FsError(error.lasting() ? ENOTEMPTY : error.number(), error.what());
    }
  } else if (remote_.HasMarker(id, path)) {
    Entry marker = MarkerOf(path, id);
    remote_.DeleteFile(marker, path, [&]() -> std::optional<Entry> {
      return remote_.HasMarker(id, path) ? std::optional(marker) : std::nullopt;
    });
  } else {
    // Without a marker and without files it is gone; names that no listing shows keep it.
    directory_.Forget(ParentOf(path));
    if (directory_.Find(path)) throw FsError(ENOTEMPTY, path + ": holds what no listing shows");
  }
  directory_.Remove(path);
  Lock lock(mutex_);
  markers_.erase(path);
}

// No listing shows a marker, so one that is not known by its identifier is written once more: that
// gives an identifier, and all versions of the name are then deleted.
Entry FolderMarkers::MarkerOf(const std::string& path, const std::string& id) {
  {
    Lock lock(mutex_);
    auto known = markers_.find(path);
    if (known != markers_.end() && known->second) return *known->second;
  }
  UploadControl control;
  return remote_.RewriteMarker(id, path, control);
}

std::optional<Entry> FolderMarkers::MakeMarker(const std::string& id, const std::string& path) {
  UploadControl control;
  return remote_.MakeMarker(id, path, control);
}

void FolderMarkers::NoteMarker(const std::string& path, const std::optional<Entry>& marker) {
  constexpr std::size_t kMostMarkers = 10'000;
  Lock lock(mutex_);
  if (markers_.size() >= kMostMarkers) markers_.clear();  // they can be looked up
  markers_[path] = marker;
}

void FolderMarkers::KeepParentOf(const std::string& leaving) {
  if (!directory_.HasSiblings(leaving)) EnsureMarker(ParentOf(leaving));
}

void FolderMarkers::KeepIfEmptied(const std::string& folder) {
  if (directory_.IsKnownEmpty(folder)) EnsureMarker(folder);
}

bool FolderMarkers::HasMarker(const std::string& path) {
  {
    Lock lock(mutex_);
    if (markers_.contains(path)) return true;
  }
  return remote_.HasMarker(directory_.FolderId(path), path);
}

void FolderMarkers::EnsureMarker(const std::string& folder) {
  if (IsRoot(folder) || IsBucket(folder)) return;
  {
    Lock lock(mutex_);
    if (markers_.contains(folder)) return;
  }
  const std::string id = directory_.FolderId(folder);
  NoteMarker(folder, remote_.HasMarker(id, folder) ? std::nullopt : MakeMarker(id, folder));
}

}  // namespace b2drive::mount
