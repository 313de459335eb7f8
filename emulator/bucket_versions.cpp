#include "emulator/bucket_versions.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace emulator {
namespace {

ListEntry EntryOf(const VersionPtr& version, const ListQuery& query) {
  if (query.delimiter.empty()) return {version, ""};
  const size_t found = version->name.find(query.delimiter, query.prefix.size());
  if (found == std::string::npos) return {version, ""};
  return {version, version->name.substr(0, found + query.delimiter.size())};
}

// The least text beyond every text that starts with `folder`. Names are UTF-8, so the last byte is
// never the greatest.
std::string Beyond(std::string folder) {
  folder.back() = static_cast<char>(folder.back() + 1);
  return folder;
}

}  // namespace

void BucketVersions::Insert(const VersionPtr& version) {
  all_.insert(version);
  RefreshVisible(version->name);
}

void BucketVersions::Erase(const VersionPtr& version) {
  all_.erase(version);
  RefreshVisible(version->name);
}

VersionPtr BucketVersions::NewestFinished(const std::string& name) const {
  for (auto it = all_.lower_bound(Position{name, kNewest}); it != all_.end() && (*it)->name == name;
       ++it) {
    if ((*it)->action != Action::kStart) return *it;
  }
  return nullptr;
}

VersionPtr BucketVersions::Visible(const std::string& name) const {
  const auto found = visible_.lower_bound(Position{name, kNewest});
  return found != visible_.end() && (*found)->name == name ? *found : nullptr;
}

void BucketVersions::RefreshVisible(const std::string& name) {
  if (const VersionPtr shown = Visible(name)) visible_.erase(shown);
  const VersionPtr newest = NewestFinished(name);
  if (newest && newest->action == Action::kUpload) visible_.insert(newest);
}

ListPage BucketVersions::Page(const VersionSet& set, const ListQuery& query) {
  const std::string_view floor =
      std::max({std::string_view(query.prefix), std::string_view(query.start_name),
                std::string_view(query.confined_to)});
  const bool at_start = floor == query.start_name && query.start_sequence;
  ListPage page;
  auto it = set.lower_bound(Position{floor, at_start ? *query.start_sequence : kNewest});
  while (it != set.end() && (*it)->name.starts_with(query.prefix) &&
         (*it)->name.starts_with(query.confined_to)) {
    ListEntry entry = EntryOf(*it, query);
    if (page.entries.size() == query.max_count) {
      page.next = std::move(entry);
      break;
    }
    it = entry.folder.empty() ? std::next(it)
                              : set.lower_bound(Position{Beyond(entry.folder), kNewest});
    page.entries.push_back(std::move(entry));
  }
  return page;
}

}  // namespace emulator
