#include "host/mount/files/stored_file.h"

#include <algorithm>
#include <cerrno>

#include "host/common/fs_error.h"
#include "host/common/paths.h"

namespace b2drive::mount {

std::optional<Node> StoredFile::known() const {
  Lock lock(mutex_);
  return node_;
}

bool StoredFile::certain() const {
  Lock lock(mutex_);
  return certain_;
}

void StoredFile::Set(std::optional<Node> node) {
  Lock lock(mutex_);
  node_ = std::move(node);
  certain_ = true;
}

void StoredFile::Doubt() {
  Lock lock(mutex_);
  certain_ = false;
}

std::optional<Node> StoredFile::Find(const std::string& path) {
  return certain() ? known() : Look(path);
}

std::optional<Node> StoredFile::Look(const std::string& path) {
  services_.directory.Forget(ParentOf(path));
  auto found = services_.directory.Find(path);
  return found && !found->folder ? found : std::nullopt;
}

bool StoredFile::IsListed(const Node& node, const std::string& path) {
  const auto listed = services_.directory.Find(path);
  return listed && listed->id == node.id;
}

SpoolPtr StoredFile::Bring(const Node& node, const std::string& path, std::uint64_t count) {
  return WithRoom(services_.reading.blocks, [&] {
    SpoolPtr contents = services_.spool.Make();
    BringInto(services_.reading, {ToEntry(node, path), path}, services_.spool, *contents,
              std::min(count, node.size));
    return contents;
  });
}

Node StoredFile::Upload(const std::string& path, const SpoolFile& contents, UploadControl& control,
                        int retries) {
  const std::string parent = services_.directory.FolderId(ParentOf(path));
  Node node = ToNode(
      services_.remote.Upload(parent, path, contents.fd(), contents.Size(), control, retries));
  Set(node);
  services_.directory.Put(path, node);
  return node;
}

void StoredFile::Delete(const Node& node, const std::string& path) {
  auto still_there = [&]() -> std::optional<Entry> {
    auto found = Look(path);
    return found ? std::optional(ToEntry(*found, path)) : std::nullopt;
  };
  try {
    services_.remote.DeleteFile(ToEntry(node, path), path, still_there);
  } catch (const FsError& error) {
    if (error.number() == ESTALE) services_.directory.Forget(ParentOf(path));
    throw;
  }
  services_.directory.Remove(path);
  services_.reading.blocks.Forget(node.id);
}

}  // namespace b2drive::mount
