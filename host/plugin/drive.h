#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/common/name_rules.h"
#include "host/plugin/fetch_sink.h"
#include "host/plugin/file_cache.h"
#include "host/plugin/listing_sink.h"
#include "host/plugin/transfers.h"
#include "protocol/protocol.h"

namespace b2drive {

// Said of a failed upload that was begun in parts.
inline constexpr char kLeftover[] =
    "the parts that were sent stay on the service as an unfinished large file, which costs "
    "storage: when the same file is stored again it goes on with them; else b2drive unfinished "
    "--cancel takes them away";

// What listings show. An entry of kVersions is one version or hide marker of a file, one of
// kUnfinished a large file that was started, whose name is its path in the folder listed, and whose
// size is what the service holds of it. Reading and deleting such an entry means just that.
enum class View { kFiles, kVersions, kUnfinished };

// The operations of a connected protocol object as calls that throw: a HostError that says what the
// service answered. `path` is what the user knows the item as, for messages only. Any number of
// threads may call.
class Drive {
 public:
  Drive(IProtocol_V2& protocol, View view) : protocol_(protocol), view_(view) {}  // borrowed

  // The direct children of a folder, as the service orders them. In the view of files no two of one
  // kind have the same name; in that of versions a name's newest comes first.
  Listing List(const std::string& id, const std::string& path);
  // The same as it comes. What the receiver throws is thrown here, too.
  void List(const std::string& id, const std::string& path, ListingReceiver& receiver);

  // Delivers `length` bytes from `offset` to `sink`. `length` must be at least 1: the service
  // answers a request for none with the whole file.
  void Read(const Entry& file, const std::string& path, std::uint64_t offset, std::uint64_t length,
            FetchSink& sink, const ActiveTransfer& transfer);

  // Stores `size` bytes of `contents` as the file `name` in the folder `parent_id`.
  Entry Upload(const std::string& parent_id, const std::string& name, const std::string& path,
               std::uint64_t size, const FileAttributes& attributes, FileCache& contents,
               const ActiveTransfer& transfer);

  // From now on listings of another view show only this last name; empty: all. For a drive of one
  // thread.
  void ShowOnly(const std::string& name);

  // Copies a file on the service, with all that is stored with it, to `name` in the folder
  // `folder_id`, where it becomes the newest version. `path` is where it goes.
  Entry Copy(const Entry& file, const std::string& folder_id, const std::string& name,
             const std::string& path);

  // Deletes a version, or cancels an unfinished file. False when the service said that it has no
  // such unfinished file, which it also says of one that it does not want to cancel.
  bool DeleteVersion(const Entry& version, const std::string& path);

  // Makes a folder, or in the root a bucket.
  Entry MakeFolder(const std::string& parent_id, const std::string& name, const std::string& path);

  // The file of this last name in a folder; one request, however much is in it. For a plug-in that
  // knows the option "find_by_name".
  std::optional<Entry> Find(const std::string& folder_id, const std::string& name,
                            const std::string& path);

  // Whether a folder has a marker object, so that it stays when its last file goes.
  bool HasMarker(const std::string& folder_id, const std::string& path);

  // The account's storage in bytes.
  std::uint64_t TotalBytes();

  // Deletes all versions of a file, or hides it where the session says so.
  void DeleteFile(const Entry& file, const std::string& path);

  // Deletes an empty bucket, or a folder with everything in it.
  void DeleteFolder(const Entry& folder, const std::string& path);

 private:
  void Call(const std::string& path, const std::function<AERROR()>& operation);
  // False when the service has answered and the plug-in says `none`.
  bool LookUp(const std::string& id, const std::string& path, AERROR none, _FS_FILE_V2& record);

  IProtocol_V2& protocol_;
  const View view_;
};

}  // namespace b2drive
