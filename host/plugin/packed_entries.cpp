#include "host/plugin/packed_entries.h"

#include <algorithm>
#include <stdexcept>

namespace b2drive {
namespace {

constexpr std::int64_t kMilliseconds = 1000;      // in a second
constexpr std::int64_t kNanoseconds = 1'000'000;  // in a millisecond
constexpr std::size_t kLongestText = 1UL << 24;

std::int64_t Pack(const timespec& time) {
  return time.tv_sec * kMilliseconds + time.tv_nsec / kNanoseconds;
}

timespec Unpack(std::int64_t milliseconds) {
  const std::int64_t rest = (milliseconds % kMilliseconds + kMilliseconds) % kMilliseconds;
  return {(milliseconds - rest) / kMilliseconds, rest * kNanoseconds};
}

std::size_t CommonLength(std::string_view one, std::string_view other) {
  return static_cast<std::size_t>(std::ranges::mismatch(one, other).in1 - one.begin());
}

}  // namespace

Entry PackedEntries::At(std::size_t i) const {
  const Record& record = records_[i];
  Entry entry;
  entry.name = Name(i);
  entry.id.reserve(record.shared + record.id_length + record.name_length);
  entry.id.append(first_ids_[record.folder], 0, record.shared);
  entry.id.append(TextOf(i) + record.name_length, record.id_length);
  if (record.id_ends_with_name) entry.id += entry.name;
  entry.folder = record.folder;
  entry.size = record.size;
  entry.modified = Unpack(record.modified);
  entry.uploaded = Unpack(record.uploaded);
  if (!details_.empty()) entry.details = details_[i];
  return entry;
}

void PackedEntries::Add(const Entry& entry, std::uint32_t place) {
  if (entry.name.size() > kLongestText || entry.id.size() > kLongestText) {
    throw std::length_error("a name or an identifier of more than 16 MiB");
  }
  std::string& first_id = first_ids_[entry.folder];
  if (first_id.empty()) first_id = entry.id;
  std::string_view id = entry.id;
  const bool ends_with_name = !entry.name.empty() && id.ends_with(entry.name);
  if (ends_with_name) id.remove_suffix(entry.name.size());
  const std::size_t shared = CommonLength(id, first_id);
  Record record{};
  record.size = entry.size;
  record.modified = Pack(entry.modified);
  record.uploaded = Pack(entry.uploaded);
  record.place = place;
  record.shared = static_cast<std::uint32_t>(shared);
  record.folder = entry.folder;
  record.id_ends_with_name = ends_with_name;
  AddText(record, entry.name, id.substr(shared));
  AddDetails(entry.details);
}

void PackedEntries::AddText(Record& record, std::string_view name, std::string_view id_rest) {
  record.at = static_cast<std::uint32_t>(text_.size());
  record.name_length = static_cast<std::uint32_t>(name.size());
  record.id_length = static_cast<std::uint32_t>(id_rest.size());
  text_ += name;
  text_ += id_rest;
  records_.push_back(record);
}

void PackedEntries::AddDetails(const std::shared_ptr<const FileDetails>& details) {
  if (!details && details_.empty()) return;
  details_.resize(records_.size() - 1);
  details_.push_back(details);
}

PackedEntries PackedEntries::Alike() const {
  PackedEntries alike;
  std::ranges::copy(first_ids_, alike.first_ids_);
  return alike;
}

void PackedEntries::AddRun(const PackedEntries& other, std::size_t first, std::size_t end) {
  for (std::size_t i = first; i < end; ++i) {
    Record record = other.records_[i];
    AddText(record, other.Name(i), {other.TextOf(i) + record.name_length, record.id_length});
    AddDetails(other.details_.empty() ? nullptr : other.details_[i]);
  }
}

void PackedEntries::GiveBackRoom() {
  text_.shrink_to_fit();
  records_.shrink_to_fit();
  details_.shrink_to_fit();
}

}  // namespace b2drive
