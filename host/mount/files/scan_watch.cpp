#include "host/mount/files/scan_watch.h"

#include <algorithm>

#include "host/common/path.h"

namespace b2drive::mount {
namespace {

constexpr std::size_t kAhead = 8;
constexpr int kStepsOfScan = 3;
constexpr std::size_t kMostScans = 64;

}  // namespace

std::vector<std::string> ScanWatch::Next(const std::string& path) {
  const std::string folder(ParentOf(path));
  const std::string name(NameOf(path));
  const bool folders = kind_ == Kind::kFolders;
  Lock lock(mutex_);
  if (scans_.size() >= kMostScans && !scans_.contains(folder)) scans_.clear();
  Scan& scan = scans_[folder];
  if (name == scan.last) return {};
  const auto expected = directory_.After(folder, scan.last, folders, 1);
  if (expected.empty() || expected.front() != name) scan = {};
  ++scan.in_order;
  scan.last = name;
  if (scan.in_order < kStepsOfScan) return {};

  std::vector<std::string> next = directory_.After(folder, name, folders, kAhead);
  std::erase_if(next, [&](const std::string& one) { return one <= scan.asked; });
  if (!next.empty()) scan.asked = next.back();
  for (std::string& one : next) one = Join(folder, one);
  return next;
}

}  // namespace b2drive::mount
