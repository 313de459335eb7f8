#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/plugin/entry.h"

namespace b2drive {

// A few entries in a row, in as little memory as they need: texts one behind the other, and of an
// identifier only what tells it from the first of its kind. Times are kept to the millisecond.
class PackedEntries {
 public:
  std::size_t size() const { return records_.size(); }
  bool IsFull() const { return size() >= kMost || text_.size() >= kMostText; }
  // Views live as long as nothing is added.
  std::string_view Name(std::size_t i) const { return {TextOf(i), records_[i].name_length}; }
  bool IsFolder(std::size_t i) const { return records_[i].folder; }
  std::uint32_t Place(std::size_t i) const { return records_[i].place; }
  Entry At(std::size_t i) const;

  // Behind all others. `place` is the caller's. Throws std::length_error for texts without measure.
  void Add(const Entry& entry, std::uint32_t place);
  // For entries that come between some of these: an empty row that can take them without packing
  // them anew, and a run of them for it.
  PackedEntries Alike() const;
  void AddRun(const PackedEntries& other, std::size_t first, std::size_t end);
  // There will be no more.
  void GiveBackRoom();

 private:
  static constexpr std::size_t kMost = 256;
  static constexpr std::size_t kMostText = 1UL << 20;

  struct Record {
    std::uint64_t size;
    std::int64_t modified;  // milliseconds since 1970
    std::int64_t uploaded;
    std::uint32_t at;  // in the text: of the name, with the rest of the identifier behind it
    std::uint32_t place;
    std::uint32_t name_length;
    std::uint32_t id_length;  // of the rest
    std::uint32_t shared;     // bytes that the identifier has in common with the first of its kind
    bool folder;
    bool id_ends_with_name;
  };

  const char* TextOf(std::size_t i) const { return text_.data() + records_[i].at; }
  void AddText(Record& record, std::string_view name, std::string_view id_rest);
  void AddDetails(const std::shared_ptr<const FileDetails>& details);

  std::string first_ids_[2];  // of files and of folders
  std::string text_;
  std::vector<Record> records_;
  std::vector<std::shared_ptr<const FileDetails>> details_;  // empty: there are none
};

}  // namespace b2drive
