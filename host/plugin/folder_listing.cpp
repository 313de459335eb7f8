#include "host/plugin/folder_listing.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace b2drive {
namespace {

std::string KeyOf(const Entry& entry) { return entry.folder ? entry.name + "/" : entry.name; }

}  // namespace

bool FolderListing::Take(Entry entry) {
  std::string key = KeyOf(entry);
  if (next_place_ > 0 && key <= last_key_) {
    if (WasTaken(entry)) return false;
  } else {
    last_key_ = std::move(key);
  }
  const std::uint32_t place = next_place_++;
  SettleBefore(entry.name);
  if (entry.folder) {
    if (!held_.empty() && held_.back().first.name == entry.name) {
      if (same_names_ == SameNames::kBoth) Settle(held_.back().first, held_.back().second);
      held_.pop_back();
    }
    Settle(entry, place);
  } else {
    held_.emplace_back(std::move(entry), place);
  }
  return true;
}

bool FolderListing::WasTaken(const Entry& entry) const {
  if (names_.Find(entry.name, entry.folder)) return true;
  if (entry.folder) return false;
  // The greatest first.
  const auto before = [](const Held& held, const std::string& name) {
    return CompareNames(held.first.name, name) > 0;
  };
  const auto held = std::lower_bound(held_.begin(), held_.end(), entry.name, before);
  return held != held_.end() && held->first.name == entry.name;
}

void FolderListing::SettleBefore(const std::string& name) {
  while (!held_.empty() && CompareNames(held_.back().first.name, name) < 0) {
    const auto [file, place] = std::move(held_.back());
    held_.pop_back();
    Settle(file, place);
  }
}

void FolderListing::Settle(const Entry& entry, std::uint32_t place) {
  if (upto_ && CompareNames(entry.name, *upto_) < 0) in_order_ = false;
  ChangeUpTo(entry.name);
  if (changes_.contains(entry.name)) return;
  if (same_names_ == SameNames::kFolderOnly) {
    if (!entry.folder && names_.Find(entry.name, true)) return;
    if (entry.folder) names_.Erase(entry.name);
  }
  names_.Insert(entry, place);
}

void FolderListing::ChangeUpTo(const std::optional<std::string>& name) {
  if (name && upto_ && CompareNames(*name, *upto_) <= 0) return;
  const auto first = upto_ ? changes_.upper_bound(*upto_) : changes_.begin();
  const auto end = name ? changes_.upper_bound(*name) : changes_.end();
  for (auto change = first; change != end; ++change) {
    if (change->second) names_.Insert(*change->second, next_place_++);
  }
  upto_ = name;
}

void FolderListing::StartOver() {
  names_ = {};
  held_.clear();
  next_place_ = 0;
  upto_.reset();
  in_order_ = true;
}

void FolderListing::Complete() {
  while (!held_.empty()) {
    Settle(held_.back().first, held_.back().second);
    held_.pop_back();
  }
  ChangeUpTo(std::nullopt);
  changes_.clear();
  names_.Seal();
  state_ = State::kComplete;
}

void FolderListing::Fail(std::exception_ptr failure) {
  failure_ = std::move(failure);
  state_ = State::kFailed;
}

void FolderListing::Check() const {
  if (state_ == State::kFailed) std::rethrow_exception(failure_);
}

void FolderListing::Replace(const std::string& name, const std::optional<Entry>& entry) {
  if (state_ == State::kComing) {
    changes_[name] = entry;
    if (!upto_ || CompareNames(*upto_, name) < 0) return;
  }
  names_.Erase(name);
  if (entry) names_.Insert(*entry, next_place_++);
}

Listing FolderListing::InServiceOrder() const {
  Listing by_name;
  std::vector<std::uint32_t> places;
  by_name.reserve(names_.size());
  places.reserve(names_.size());
  names_.Visit([&](const PackedEntries& entries, std::size_t i) {
    by_name.push_back(entries.At(i));
    places.push_back(entries.Place(i));
    return true;
  });
  if (std::ranges::is_sorted(places)) return by_name;
  std::vector<std::size_t> order(places.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::sort(order, {}, [&](std::size_t i) { return places[i]; });
  Listing listing;
  listing.reserve(order.size());
  for (const std::size_t i : order) listing.push_back(std::move(by_name[i]));
  return listing;
}

}  // namespace b2drive
