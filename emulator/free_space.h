#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>

namespace emulator {

// The gaps between what is in use, bytes. Adjacent gaps are one.
class FreeSpace {
 public:
  void Give(uint64_t begin, uint64_t size);
  // The begin of `size` bytes of the smallest gap that has them, which are free no more.
  std::optional<uint64_t> Take(uint64_t size);

 private:
  using Gap = std::map<uint64_t, uint64_t>::iterator;

  void Add(uint64_t begin, uint64_t size);
  void Remove(Gap gap);

  std::map<uint64_t, uint64_t> gaps_;              // begin to size
  std::set<std::pair<uint64_t, uint64_t>> sizes_;  // size and begin
};

}  // namespace emulator
