#pragma once

#include <cstdint>
#include <exception>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/plugin/name_table.h"

namespace b2drive {

// How a folder's names are shown where a file and a folder share one.
enum class SameNames { kBoth, kFolderOnly };

// The names of one folder: as they come from the service, and as own changes make them then and
// later. Not thread-safe.
class FolderListing {
 public:
  explicit FolderListing(SameNames same_names) : same_names_(same_names) {}

  // The service's next entry. False when it has listed this name and kind before.
  bool Take(Entry entry);
  // What came is dropped: the listing begins again.
  void StartOver();
  // There is no more to come. Only then all names are known.
  void Complete();
  void Fail(std::exception_ptr failure);
  bool is_coming() const { return state_ == State::kComing; }
  // Throws the failure, if it failed.
  void Check() const;

  // `entry` alone is at `name` now; none: nothing is. Also for what is still to come.
  void Replace(const std::string& name, const std::optional<Entry>& entry);

  // While the listing comes: those that have come in order, up to some name.
  const NameTable& names() const { return names_; }
  // Whether all that comes later stands behind what has come, so far.
  bool in_order() const { return in_order_; }
  // As the service gave them, what was added since at the end.
  Listing InServiceOrder() const;

 private:
  enum class State { kComing, kComplete, kFailed };
  struct NameOrder {
    bool operator()(const std::string& one, const std::string& other) const {
      return CompareNames(one, other) < 0;
    }
  };
  // A file of which it is not known yet whether a folder of its name follows, with its place.
  using Held = std::pair<Entry, std::uint32_t>;

  bool WasTaken(const Entry& entry) const;
  void SettleBefore(const std::string& name);
  void Settle(const Entry& entry, std::uint32_t place);
  // Makes the own changes of names up to this one.
  void ChangeUpTo(const std::optional<std::string>& name);

  const SameNames same_names_;
  NameTable names_;
  State state_ = State::kComing;
  std::exception_ptr failure_;
  std::uint32_t next_place_ = 0;

  // While it comes. A folder's file stands right before it in a table, but comes before all names
  // that begin with its own and go on with a character before the slash. So files wait for those.
  std::vector<Held> held_;
  std::string last_key_;             // the greatest that has come, as the service orders names
  std::optional<std::string> upto_;  // the last name in the table
  bool in_order_ = true;
  std::map<std::string, std::optional<Entry>, NameOrder> changes_;
};

}  // namespace b2drive
