#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "emulator/version.h"

namespace emulator {

// What part of a bucket's listing is wanted.
struct ListQuery {
  std::string prefix = {};
  std::string start_name = {};
  // With `start_name`: begin at this version of it, or at the next in order.
  std::optional<uint64_t> start_sequence = {};
  // Empty: no grouping into folders.
  std::string delimiter = {};
  size_t max_count = 100;
  // A second prefix that every name must have; plays no part in the grouping.
  std::string confined_to = {};
};

// A version, or the folder it stands for (the name up to and including the delimiter).
struct ListEntry {
  VersionPtr version;
  std::string folder;

  const std::string& Name() const { return folder.empty() ? version->name : folder; }
};

struct ListPage {
  std::vector<ListEntry> entries;
  std::optional<ListEntry> next;  // where the next page begins
};

// The versions in one bucket, in order of their names, newest first.
class BucketVersions {
 public:
  bool empty() const { return all_.empty(); }

  void Insert(const VersionPtr& version);
  void Erase(const VersionPtr& version);

  // The newest version of a name that is not an unfinished large file; null when there is none.
  VersionPtr NewestFinished(const std::string& name) const;
  // The same when it is a file, null when it is a hide marker: what a download by name gets.
  VersionPtr Visible(const std::string& name) const;

  ListPage ListVisible(const ListQuery& query) const { return Page(visible_, query); }
  ListPage ListAll(const ListQuery& query) const { return Page(all_, query); }

 private:
  struct Position {
    std::string_view name;
    uint64_t sequence;
  };
  // By name, then newest first.
  struct Order {
    using is_transparent = void;
    static Position Of(const VersionPtr& version) { return {version->name, version->sequence}; }
    static Position Of(const Position& position) { return position; }
    template <typename Left, typename Right>
    bool operator()(const Left& left, const Right& right) const {
      const Position a = Of(left);
      const Position b = Of(right);
      const int names = a.name.compare(b.name);
      return names < 0 || (names == 0 && a.sequence > b.sequence);
    }
  };
  using VersionSet = std::set<VersionPtr, Order>;

  static constexpr uint64_t kNewest = UINT64_MAX;

  static ListPage Page(const VersionSet& set, const ListQuery& query);
  void RefreshVisible(const std::string& name);

  VersionSet all_;
  VersionSet visible_;  // of each name the one that Visible gives
};

}  // namespace emulator
