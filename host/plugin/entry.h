#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "protocol/records.h"

namespace b2drive {

// What is at a name: a bucket, a folder or a file.
struct Entry {
  std::string name;  // last path element; empty for the root
  std::string id;    // the plug-in's identifier
  bool folder = false;
  std::uint64_t size = 0;  // bytes, at most INT64_MAX, 0 for folders
  timespec modified{};     // zero for folders, which have no time of their own
};

using Listing = std::vector<Entry>;

Entry ToEntry(const _FS_FILE_V2& record);
// What the plug-in needs to know of an entry that it is to store or delete.
_FS_FILE_V2 ToRecord(const Entry& entry);

timespec Now();
// RFC 3339 in UTC with milliseconds, which the service does not keep.
std::string TimeText(const timespec& time);

}  // namespace b2drive
