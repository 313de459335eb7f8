#include "host/transfer/sync_sides.h"

#include "host/common/path.h"

namespace b2drive {

SyncSide::SyncSide(const std::vector<LocalItem>& items) {
  nodes_.reserve(items.size());
  for (const LocalItem& item : items) nodes_.push_back({item.path, item.kind, &item, nullptr});
  Index();
}

SyncSide::SyncSide(const std::vector<RemoteItem>& items) {
  nodes_.reserve(items.size());
  for (const RemoteItem& item : items) {
    const auto kind = item.entry.folder ? SyncNode::Kind::kFolder : SyncNode::Kind::kFile;
    nodes_.push_back({item.path, kind, nullptr, &item});
  }
  Index();
}

void SyncSide::Index() {
  for (const SyncNode& node : nodes_) {
    Place& place = places_[node.path];
    if (node.kind == SyncNode::Kind::kFile) place.file = &node;
    if (node.kind == SyncNode::Kind::kFolder) place.folder = &node;
    if (node.kind == SyncNode::Kind::kOther) place.other = &node;
    if (node.kind == SyncNode::Kind::kFile) ++files_;
    if (node.kind != SyncNode::Kind::kOther) filled_.insert(FolderIn(node.path));
  }
}

SyncSide::Place SyncSide::At(std::string_view path) const {
  const auto found = places_.find(path);
  return found == places_.end() ? Place() : found->second;
}

}  // namespace b2drive
