#include "host/plugin/listing_sink.h"

#include <limits>
#include <utility>

namespace b2drive {
namespace {

// A file and a folder may have the same name. Folders sort as the service sorts them.
std::string KeyOf(const Entry& entry) { return entry.folder ? entry.name + "/" : entry.name; }

}  // namespace

AERROR ListingSink::AddFile(const _FS_FILE_V2* record) try {
  constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (record == nullptr) {
    nonsense_ = "it lists an entry that is none";
  } else if (record->size > kLargest) {
    nonsense_ = "it gives " + KeyOf(ToEntry(*record)) + " a negative size";
  } else if (!receiver_.Take(ToEntry(*record))) {
    nonsense_ = "it lists " + KeyOf(ToEntry(*record)) + " twice";
  }
  return nonsense_.empty() ? AERROR::SUCCESS : AERROR::FAILED;
} catch (...) {
  failure_ = std::current_exception();
  return AERROR::FAILED;
}

void ListingCollector::StartOver() {
  listing_.clear();
  last_key_.clear();
  keys_.reset();
}

bool ListingCollector::Take(Entry entry) {
  std::string key = KeyOf(entry);
  if (!names_repeat_ && !IsNew(key)) return false;
  listing_.push_back(std::move(entry));
  last_key_ = std::move(key);
  return true;
}

bool ListingCollector::IsNew(const std::string& key) {
  if (!keys_) {
    if (listing_.empty() || key > last_key_) return true;
    keys_.emplace();
    for (const Entry& entry : listing_) keys_->insert(KeyOf(entry));
  }
  return keys_->insert(key).second;
}

}  // namespace b2drive
