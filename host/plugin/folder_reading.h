#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/plugin/folder_listing.h"

namespace b2drive {

// One program's way through a folder, by position. What was passed stays as it was; of what changes
// ahead the new state comes, and no name comes twice. Not thread-safe.
class FolderReading {
 public:
  explicit FolderReading(std::shared_ptr<const FolderListing> listing)
      : listing_(std::move(listing)), began_early_(listing_->is_coming()) {}

  // The entries from `position` on that are there, or some of them; a null piece for none.
  NameTable::Run At(std::uint64_t position) const;

  enum class Progress { kMore, kNotYet, kEnd };
  // Takes up what the listing has behind what was taken. Throws the listing's failure.
  Progress ReadOn();

 private:
  struct Step {
    NameTable::Run run;
    std::uint64_t end;  // the position behind its last entry
  };

  void Add(NameTable::Run run);
  void AddMissed();

  const std::shared_ptr<const FolderListing> listing_;
  const bool began_early_;
  bool ended_ = false;
  std::vector<Step> steps_;
  std::optional<std::string> last_;  // name
};

}  // namespace b2drive
