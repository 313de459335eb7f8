#include <algorithm>

#include "emulator/store.h"

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

ListPage Store::Page(const VersionSet& set, const ListQuery& query) {
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

ListPage Store::ListNames(const std::string& bucket_id, const ListQuery& query) const {
  base::ReadLock lock(mutex_);
  return Page(At(bucket_id).visible, query);
}

ListPage Store::ListVersions(const std::string& bucket_id, const ListQuery& query) const {
  base::ReadLock lock(mutex_);
  return Page(At(bucket_id).versions, query);
}

}  // namespace emulator
