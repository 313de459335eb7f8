#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "host/common/errors.h"
#include "host/transfer/filter.h"

namespace b2drive {

// One item in a tree of this machine.
struct LocalItem {
  enum class Kind { kFile, kFolder, kOther };  // others: symbolic links, devices, sockets, pipes

  std::string path;  // from the tree's root on: names with slashes between them, none before
  Kind kind = Kind::kOther;
  std::uint64_t size = 0;  // bytes, 0 unless it is a file
  timespec modified{};
};

struct LocalTree {
  std::vector<LocalItem> items;  // in the order of their paths' bytes
  // Of folders that could not be read in full, by their names in messages. What is in such a folder
  // is not known.
  std::vector<HostError> failures;
};

// What the filter takes in the folder `root`, without the hidden part files that a download left
// there. Symbolic links are not followed, but for `root` itself. Throws kLocalFile when `root`
// cannot be opened, kWrongKind when it is no folder.
LocalTree ReadLocalTree(const std::filesystem::path& root, const Filter& filter);

}  // namespace b2drive
