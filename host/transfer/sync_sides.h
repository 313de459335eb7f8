#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "host/transfer/local_tree.h"
#include "host/transfer/remote_tree.h"

namespace b2drive {

// An item of one of the two trees that are synced; borrowed.
struct SyncNode {
  using Kind = LocalItem::Kind;

  std::string_view path;
  Kind kind = Kind::kOther;
  const LocalItem* local = nullptr;
  const RemoteItem* remote = nullptr;
};

// One of the two trees, which must outlive it.
class SyncSide {
 public:
  // What is at one path: here one item at most, on the drive a file and a folder.
  struct Place {
    const SyncNode* file = nullptr;
    const SyncNode* folder = nullptr;
    const SyncNode* other = nullptr;
  };

  explicit SyncSide(const std::vector<LocalItem>& items);
  explicit SyncSide(const std::vector<RemoteItem>& items);

  const std::vector<SyncNode>& nodes() const { return nodes_; }  // in the tree's order
  Place At(std::string_view path) const;
  // Whether any file or folder is in it.
  bool IsFilled(std::string_view folder) const { return filled_.contains(folder); }
  std::size_t files() const { return files_; }

 private:
  void Index();

  std::vector<SyncNode> nodes_;
  std::unordered_map<std::string_view, Place> places_;
  std::unordered_set<std::string_view> filled_;
  std::size_t files_ = 0;
};

}  // namespace b2drive
