#include "host/mount/files/stored_file.h"

#include <algorithm>
#include <cerrno>

#include "host/common/fs_error.h"
#include "host/common/path.h"

namespace b2drive::mount {

std::optional<Entry> StoredFile::known() const {
  Lock lock(mutex_);
  return entry_;
}

bool StoredFile::certain() const {
  Lock lock(mutex_);
  return certain_;
}

void StoredFile::Set(std::optional<Entry> entry) {
  Lock lock(mutex_);
  entry_ = std::move(entry);
  certain_ = true;
}

void StoredFile::Doubt() {
  Lock lock(mutex_);
  certain_ = false;
}

std::optional<Entry> StoredFile::Find(const std::string& path) {
  return certain() ? known() : FindAfresh(path);
}

std::optional<Entry> StoredFile::FindAfresh(const std::string& path) {
  services_.directory.Forget(ParentOf(path));
  return FindSince(path, {});
}

std::optional<Entry> StoredFile::FindSince(const std::string& path,
                                           std::chrono::steady_clock::time_point since) {
  constexpr std::size_t kFew = 4000;  // as many as a few requests list
  const std::string folder = ParentOf(path);
  if (services_.remote.finds_by_name() && services_.directory.KnownNames(folder) > kFew) {
    auto found = services_.remote.Find(services_.directory.FolderId(folder), path);
    if (found) services_.directory.Put(path, *found);
    return found;
  }
  auto found = services_.directory.Find(path, since);
  return found && !found->folder ? found : std::nullopt;
}

bool StoredFile::IsListed(const Entry& entry, const std::string& path) {
  const auto listed = services_.directory.Find(path);
  return listed && listed->id == entry.id;
}

SpoolPtr StoredFile::Bring(const Entry& entry, const std::string& path, std::uint64_t count) {
  return WithRoom(services_.reading.blocks, [&] {
    SpoolPtr contents = services_.spool.Make();
    BringInto(services_.reading, {entry, path}, services_.spool, *contents,
              std::min(count, entry.size));
    return contents;
  });
}

Entry StoredFile::Upload(const std::string& path, const SpoolFile& contents,
                         const timespec& modified, UploadControl& control, int retries) {
  const std::string parent = services_.directory.FolderId(ParentOf(path));
  const UploadContents what{contents.fd(), contents.Size(), {modified, {}}};
  Entry entry = services_.remote.Upload(parent, path, what, control, retries);
  Set(entry);
  services_.directory.Put(path, entry);
  return entry;
}

// Nobody looks for a copy whose answer was lost: it is made once more, and the name has it twice.
bool StoredFile::Copy(const Entry& entry, const std::string& target) try {
  const std::string parent = services_.directory.FolderId(ParentOf(target));
  const auto find_copied = [] { return std::optional<Entry>(); };
  const Entry copy = services_.remote.Copy(entry, parent, target, find_copied);
  Set(copy);
  services_.directory.Put(target, copy);
  return true;
} catch (const FsError& error) {
  if (error.code() != AERROR::NOT_SUPPORTED) throw;
  return false;
}

void StoredFile::Delete(const Entry& entry, const std::string& path) {
  const auto still_there = [&] { return FindAfresh(path); };
  try {
    services_.remote.DeleteFile(entry, path, still_there);
  } catch (const FsError& error) {
    if (error.number() == ESTALE) services_.directory.Forget(ParentOf(path));
    throw;
  }
  services_.directory.Remove(path);
  services_.reading.blocks.Forget(entry.id);
}

}  // namespace b2drive::mount
