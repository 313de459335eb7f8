#include "emulator/memory.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace emulator {
namespace {

// What a version takes besides its name, in the store and in its allocator.
constexpr double kPerFile = 520;
constexpr uint64_t kUnlimited = std::numeric_limits<uint64_t>::max();

std::optional<uint64_t> NumberIn(const std::string& path) {
  uint64_t number = 0;
  if (std::ifstream(path) >> number) return number;
  return std::nullopt;
}

// Of /proc/meminfo and /proc/self/status, whose numbers are of KiB.
std::optional<uint64_t> Field(const char* path, std::string_view name) {
  std::ifstream file(path);
  std::string word;
  uint64_t kib = 0;
  while (file >> word) {
    if (word == name && file >> kib) return kib * 1024;
  }
  return std::nullopt;
}

uint64_t Left(std::optional<uint64_t> limit, std::optional<uint64_t> used) {
  if (!limit || !used) return kUnlimited;
  return *limit - std::min(*limit, *used);
}

// Of the control groups from the process's own up to the root, as version 2 has them. In a
// container the own group is the root that is seen.
uint64_t LeftInGroups() {
  std::string group;
  std::ifstream list("/proc/self/cgroup");
  for (std::string line; std::getline(list, line);) {
    if (line.starts_with("0::/")) group = line.substr(3);
  }
  for (uint64_t left = kUnlimited;; group.resize(group.rfind('/'))) {
    const std::string folder = "/sys/fs/cgroup" + group + "/memory.";
    left = std::min(left, Left(NumberIn(folder + "max"), NumberIn(folder + "current")));
    if (group.empty() || group.find('/') == std::string::npos) return left;
  }
}

uint64_t LeftOfLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return kUnlimited;
  return Left(limit.rlim_cur, Field("/proc/self/status", "VmSize:"));
}

}  // namespace

uint64_t FreeMemory() {
  return std::min({Field("/proc/meminfo", "MemAvailable:").value_or(kUnlimited), LeftInGroups(),
                   LeftOfLimit()});
}

void Need::AddFiles(uint64_t count, size_t name_size) {
  files += static_cast<double>(count);
  records += static_cast<double>(count) * (kPerFile + static_cast<double>(name_size));
}

void CheckMemory(const Need& need, bool on_disk, const std::string& what) {
  const double needed = need.records + (on_disk ? 0 : need.contents);
  const auto free = static_cast<double>(FreeMemory());
  if (needed <= free) return;
  const bool disk_helps = !on_disk && need.records <= free;
  std::array<char, 256> text{};
  std::snprintf(text.data(), text.size(),
                ": %.0f files take %.1f GB of memory, and %.1f GB are free: %s", need.files,
                needed / 1e9, free / 1e9,
                disk_helps ? "keep their bytes on disk with --data" : "seed fewer files");
  throw std::runtime_error(what + text.data());
}

}  // namespace emulator
