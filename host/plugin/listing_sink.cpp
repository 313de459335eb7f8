#include "host/plugin/listing_sink.h"

#include <limits>

namespace b2drive {
namespace {

// A file and a folder may have the same name. Folders sort as the service sorts them.
std::string KeyOf(const Entry& entry) { return entry.folder ? entry.name + "/" : entry.name; }

}  // namespace

AERROR ListingSink::AddFile(const _FS_FILE_V2* record) {
  constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  Entry entry = ToEntry(*record);
  std::string key = KeyOf(entry);
  if (entry.size > kLargest) {
    nonsense_ = "it gives " + key + " a negative size";
  } else if (!names_repeat_ && !IsNew(key)) {
    nonsense_ = "it lists " + key + " twice";
  }
  if (!nonsense_.empty()) return AERROR::FAILED;
  listing_.push_back(std::move(entry));
  last_key_ = std::move(key);
  return AERROR::SUCCESS;
}

bool ListingSink::IsNew(const std::string& key) {
  if (!keys_) {
    if (listing_.empty() || key > last_key_) return true;
    keys_.emplace();
    for (const Entry& entry : listing_) keys_->insert(KeyOf(entry));
  }
  return keys_->insert(key).second;
}

}  // namespace b2drive
