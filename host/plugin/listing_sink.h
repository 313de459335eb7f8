#pragma once

#include <exception>
#include <optional>
#include <string>
#include <unordered_set>

#include "host/plugin/entry.h"
#include "protocol/host_interfaces.h"

namespace b2drive {

// Hands a listing on, and ends one that makes no sense: a service whose pages come round again
// would otherwise be read without end.
class ListingSink final : public IFileList {
 public:
  explicit ListingSink(ListingReceiver& receiver) : receiver_(receiver) {}

  AERROR AddFile(const _FS_FILE_V2* record) override;

  // What the service said that cannot be; empty: nothing.
  const std::string& nonsense() const { return nonsense_; }
  // What the receiver threw, or null.
  const std::exception_ptr& failure() const { return failure_; }

 private:
  ListingReceiver& receiver_;
  std::string nonsense_;
  std::exception_ptr failure_;
};

// Keeps a listing.
class ListingCollector final : public ListingReceiver {
 public:
  // `names_repeat`: a listing of versions, which may have a name many times.
  explicit ListingCollector(bool names_repeat) : names_repeat_(names_repeat) {}

  void StartOver() override;
  bool Take(Entry entry) override;

  Listing& listing() { return listing_; }

 private:
  bool IsNew(const std::string& key);

  const bool names_repeat_;
  Listing listing_;
  std::string last_key_;
  // Once the names have not ascended: all of them. The order of names is the service's own.
  std::optional<std::unordered_set<std::string>> keys_;
};

}  // namespace b2drive
