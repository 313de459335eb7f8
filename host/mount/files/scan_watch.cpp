#include "host/mount/files/scan_watch.h"

#include <algorithm>
#include <utility>

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
  Lock lock(mutex_);
  auto& by_folder = scans_.get<1>();
  const auto known = by_folder.find(folder);
  Scan scan = known != by_folder.end() ? *known : NewScan(folder);
  if (name == scan.last) return {};
  const auto expected = After(folder, scan.last, 1);
  if (expected.empty() || expected.front() != name) scan = {.folder = folder};
  ++scan.in_order;
  scan.last = name;
  std::vector<std::string> next;
  if (scan.in_order >= kStepsOfScan) next = Ahead(scan);
  if (known != by_folder.end()) by_folder.erase(known);
  scans_.push_back(std::move(scan));
  if (scans_.size() > kMostScans) scans_.pop_front();
  return next;
}

ScanWatch::Scan ScanWatch::NewScan(const std::string& folder) {
  Scan scan{.folder = folder};
  const auto above = scans_.get<1>().find(ParentOf(folder));
  if (above != scans_.get<1>().end() && above->last == NameOf(folder)) {
    scan.in_order = above->in_order;
  }
  return scan;
}

std::vector<std::string> ScanWatch::Ahead(Scan& scan) {
  std::vector<std::string> names = After(scan.folder, scan.last, kAhead);
  std::vector<std::string> inner;
  if (kind_ == Kind::kFolders && !names.empty()) {
    const std::string upcoming = Join(scan.folder, names.front());
    for (const std::string& name : After(upcoming, "", kAhead)) {
      inner.push_back(Join(upcoming, name));
    }
  }
  std::erase_if(names, [&](const std::string& name) {
    return !scan.asked.empty() && CompareNames(name, scan.asked) <= 0;
  });
  if (!names.empty()) scan.asked = names.back();
  for (const std::string& name : names) inner.push_back(Join(scan.folder, name));
  return inner;
}

std::vector<std::string> ScanWatch::After(const std::string& folder, const std::string& name,
                                          std::size_t count) {
  return directory_.After(folder, name, kind_ == Kind::kFolders, count);
}

}  // namespace b2drive::mount
