#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace emulator {

// Bytes of memory that this process can still have: of the machine's, of its control groups' and of
// its own limits the least. UINT64_MAX when the system does not tell.
uint64_t FreeMemory();

// What seeds are going to take of it.
struct Need {
  // `count` files with names of that size.
  void AddFiles(uint64_t count, size_t name_size);

  double files = 0;     // how many
  double records = 0;   // bytes for what is known of them
  double contents = 0;  // bytes of their contents
};

// Throws std::runtime_error, with what to do, when that much is not free. `on_disk`: contents go to
// a data folder. `what` is the seed.
void CheckMemory(const Need& need, bool on_disk, const std::string& what);

}  // namespace emulator
