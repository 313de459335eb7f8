#pragma once

#include <string>
#include <unordered_set>
#include <utility>

#include "host/plugin/entry.h"

namespace b2drive::mount {

// Hands on what a file system can show of the listing of `folder`: without names that it cannot
// hold, each of which is told.
class MountableNames final : public ListingReceiver {
 public:
  MountableNames(ListingReceiver& receiver, std::string folder)
      : receiver_(receiver), folder_(std::move(folder)) {}

  void StartOver() override;
  bool Take(Entry entry) override;

 private:
  ListingReceiver& receiver_;
  const std::string folder_;
  std::unordered_set<std::string> left_out_;  // folders with a slash
};

}  // namespace b2drive::mount
