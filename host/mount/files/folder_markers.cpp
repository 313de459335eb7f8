#include "host/mount/files/folder_markers.h"

#include <cerrno>

#include "host/common/fs_error.h"
#include "host/common/name_rules.h"
#include "host/common/path.h"

namespace b2drive::mount {

void FolderMarkers::Make(const std::string& path) {
  if (IsBucket(path)) return MakeBucket(path);
  CheckName(path);
  services_.new_folders.TakeBack(path);
  const std::string id = services_.directory.FolderId(path);
  services_.SendMarker(path, id);
  services_.directory.PutEmptyFolder(path, id);
}

void FolderMarkers::MakeLater(const std::string& path) {
  if (IsBucket(path)) return MakeBucket(path);
  CheckName(path);
  const std::string id = services_.directory.FolderId(path);
  if (!services_.new_folders.Add(path, id)) return Make(path);
  services_.directory.PutEmptyFolder(path, id);
  // Refused before it was shown.
  const bool made = services_.new_folders.Has(path) || services_.markers.Has(path);
  if (!made) services_.directory.Forget(ParentOf(path));
}

void FolderMarkers::MakeBucket(const std::string& path) {
  try {
    services_.directory.PutEmptyFolder(path, services_.remote.MakeBucket(NameOf(path), path).id);
  } catch (const FsError& error) {
    // The service refuses the name, one that someone else has, or one bucket too many.
    throw FsError(error.lasting() ? EINVAL : error.number(), error.what());
  }
}

void FolderMarkers::Remove(const std::string& path) {
  services_.new_folders.TakeBack(path);
  const std::string id = services_.directory.FolderId(path);
  if (IsBucket(path)) {
    try {
      services_.remote.DeleteBucket({NameOf(path), id, true, 0, {}}, path);
    } catch (const FsError& error) {
      // Old versions and hidden files, which no listing shows, keep a bucket.
      throw FsError(error.lasting() ? ENOTEMPTY : error.number(), error.what());
    }
  } else if (services_.remote.HasMarker(id, path)) {
    Entry marker = MarkerOf(path, id);
    services_.remote.DeleteFile(marker, path, [&]() -> std::optional<Entry> {
      return services_.remote.HasMarker(id, path) ? std::optional(marker) : std::nullopt;
    });
  } else {
    // Without a marker and without files it is gone; names that no listing shows keep it.
    services_.directory.Forget(ParentOf(path));
    if (services_.directory.Find(path))
      throw FsError(ENOTEMPTY, path + ": holds what no listing shows");
  }
  services_.directory.Remove(path);
  services_.markers.Remove(path);
}

// No listing shows a marker, so one that is not known by its identifier is written once more: that
// gives an identifier, and all versions of the name are then deleted.
Entry FolderMarkers::MarkerOf(const std::string& path, const std::string& id) {
  if (const auto known = services_.markers.Find(path)) return *known;
  UploadControl control;
  return services_.remote.RewriteMarker(id, path, control);
}

void FolderMarkers::KeepParentOf(const std::string& leaving) {
  if (!services_.directory.HasSiblings(leaving)) EnsureMarker(ParentOf(leaving));
}

void FolderMarkers::KeepIfEmptied(const std::string& folder) {
  if (services_.directory.IsKnownEmpty(folder)) EnsureMarker(folder);
}

bool FolderMarkers::HasMarker(const std::string& path) {
  services_.new_folders.Await(path);
  if (services_.markers.Has(path)) return true;
  return services_.remote.HasMarker(services_.directory.FolderId(path), path);
}

void FolderMarkers::EnsureMarker(const std::string& folder) {
  if (IsRoot(folder) || IsBucket(folder)) return;
  if (services_.new_folders.Has(folder) || services_.markers.Has(folder)) return;
  const std::string id = services_.directory.FolderId(folder);
  if (services_.remote.HasMarker(id, folder)) return services_.markers.Note(folder, std::nullopt);
  services_.SendMarker(folder, id);
}

}  // namespace b2drive::mount
