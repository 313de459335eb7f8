#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "protocol/records.h"

namespace b2drive {

// What is stored with a file besides its bytes.
struct FileDetails {
  std::string sha1;    // 40 lower-case digits; empty when the service does not know it
  std::string type;    // content type
  std::string action;  // "upload", or "hide" for a marker that hides a name
  std::vector<std::pair<std::string, std::string>> info;  // the file information
};

// What is at a name: a bucket, a folder or a file.
struct Entry {
  std::string name;  // last path element; empty for the root
  std::string id;    // the plug-in's identifier
  bool folder = false;
  std::uint64_t size = 0;  // bytes, at most INT64_MAX, 0 for folders
  // Zero for folders, which have no time of their own. The source's where it was stored with the
  // file, to the millisecond; else the upload's, to the second.
  timespec modified{};
  timespec uploaded{};
  std::shared_ptr<const FileDetails> details{};  // null unless the session asks for them

  bool HasSourceTime() const {
    return modified.tv_sec != uploaded.tv_sec || modified.tv_nsec != uploaded.tv_nsec;
  }
};

// What is to be stored with a file besides its bytes.
struct FileAttributes {
  std::optional<timespec> modified;
  std::vector<std::string> texts;  // "type=TEXT", "info.KEY=TEXT"
};

using Listing = std::vector<Entry>;

// Whether two files may have the same bytes, by what is known of them.
bool MayBeAlike(const Entry& one, const Entry& other);
// Whether they have the same bytes, type and information for certain.
bool AreAlike(const Entry& one, const Entry& other);

// Takes a listing as it comes, in the service's order.
class ListingReceiver {
 public:
  // What came belongs to an attempt that failed: the listing begins again.
  virtual void StartOver() = 0;
  // False when there was one of this name and kind before, which ends the listing. Exceptions end
  // it, too, and reach whoever asked for it.
  virtual bool Take(Entry entry) = 0;

 protected:
  ~ListingReceiver() = default;
};

Entry ToEntry(const _FS_FILE_V2& record);
// What the plug-in needs to know of an entry that it is to store or delete.
_FS_FILE_V2 ToRecord(const Entry& entry);

timespec Now();
// RFC 3339 in UTC with milliseconds.
std::string TimeText(const timespec& time);

}  // namespace b2drive
