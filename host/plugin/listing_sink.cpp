#include "host/plugin/listing_sink.h"

#include <limits>

namespace b2drive {
namespace {

// A file and a folder may have the same name. Folders sort as the service sorts them.
std::string KeyOf(const Entry& entry) { return entry.folder ? entry.name + "/" : entry.name; }

}  // namespace

Entry ToEntry(const _FS_FILE_V2& record) {
  bool folder = (record.type & FS_DIRECTORY) != 0;
  // The times of folders and buckets are those of the listing itself.
  return {record.name, record.id, folder, folder ? 0 : record.size,
          folder ? "" : record.first_time};
}

AERROR ListingSink::AddFile(const _FS_FILE_V2* record) {
  constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  Entry entry = ToEntry(*record);
  std::string key = KeyOf(entry);
  if (entry.size > kLargest) {
    nonsense_ = "it gives " + key + " a negative size";
  } else if (!IsNew(key)) {
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
