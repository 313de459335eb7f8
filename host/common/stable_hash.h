#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace b2drive {

// Sixteen digits that are the same in every run and build, unlike std::hash (FNV-1a); for names of
// files.
inline std::string StableHash(std::string_view text) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char byte : text) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(hash));
  return digits;
}

}  // namespace b2drive
