#include "emulator/free_space.h"

#include <iterator>

namespace emulator {

void FreeSpace::Add(uint64_t begin, uint64_t size) {
  gaps_.emplace(begin, size);
  sizes_.emplace(size, begin);
}

void FreeSpace::Remove(Gap gap) {
  sizes_.erase({gap->second, gap->first});
  gaps_.erase(gap);
}

void FreeSpace::Give(uint64_t begin, uint64_t size) {
  if (size == 0) return;
  uint64_t end = begin + size;
  const auto behind = gaps_.lower_bound(begin);
  const auto before = behind == gaps_.begin() ? gaps_.end() : std::prev(behind);
  if (behind != gaps_.end() && behind->first == end) {
    end += behind->second;
    Remove(behind);
  }
  if (before != gaps_.end() && before->first + before->second == begin) {
    begin = before->first;
    Remove(before);
  }
  Add(begin, end - begin);
}

std::optional<uint64_t> FreeSpace::Take(uint64_t size) {
  const auto found = sizes_.lower_bound({size, 0});
  if (found == sizes_.end()) return std::nullopt;
  const auto [all, begin] = *found;
  Remove(gaps_.find(begin));
  if (all > size) Add(begin + size, all - size);
  return begin;
}

}  // namespace emulator
