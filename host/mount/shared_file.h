#pragma once

#include <chrono>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "host/mount/directory_cache.h"
#include "host/mount/fs_error.h"
#include "host/mount/spool.h"
#include "host/mount/time_book.h"
#include "host/mount/version_reader.h"

namespace b2drive::mount {

struct FileServices {
  Remote& remote;
  DirectoryCache& directory;
  TimeBook& times;
  Spool& spool;
  ReadServices reading;
};

struct Attributes {
  bool folder = false;
  std::uint64_t size = 0;  // bytes
  timespec modified{};
};

// Why contents are not on the service yet.
struct Delay {
  std::string path;
  std::uint64_t size = 0;  // bytes
  bool sending = false;
  int failures = 0;
  bool lasting = false;  // not tried again by itself
  std::string reason;    // the last failure's
};

// A file that is open, or whose contents are not on the service yet: what all handles on it share.
//
// Its contents are a stored version (read through the block cache) until a program writes; then
// they stand in a spool file, the work. Saving seals the work: it is entered in the journal and
// sent, and a program that goes on writing meanwhile gets a copy. A sealed file that could not be
// sent stays until it is, or until a later one takes its place.
//
// Thread-safe. All throw FsError.
class SharedFile {
 public:
  // `stored` is what the service holds under `path`, if anything.
  SharedFile(FileServices& services, std::string path, std::optional<Node> stored);
  // With contents that an earlier mount could not send.
  SharedFile(FileServices& services, Unsent unsent, std::optional<Node> stored);

  std::string path();
  Attributes Stat();
  // Whether it shows another stored version than `id`, and nothing newer.
  bool IsOutdated(const std::string& id);

  // Makes it an empty file that is sent when the last handle closes, unless it is written before.
  void StartEmpty();
  std::size_t Read(VersionReader& reader, std::uint64_t offset, char* data, std::size_t count);
  std::size_t Write(std::uint64_t offset, const char* data, std::size_t count);
  void Truncate(std::uint64_t size);
  void SetTime(timespec time);

  // Sends what was written; returns when the service holds it.
  void Save();
  // Enters an empty file in the journal, so that its close is kept.
  void Settle();
  // At the last handle's end: what came after the last save, through a mapping, is to be sent too.
  void SealUnsaved();
  // Sends what was saved or closed and waits, if anything.
  void SendWaiting(int retries);
  // The last failure to send, if what failed still waits.
  std::optional<FsError> Failure();

  // Removes the name from the service, all versions. Open handles keep the contents.
  void Unlink(bool open_elsewhere);
  // Gives the file another name; `replaced` is the open file of that name, or null.
  void MoveTo(const std::string& target, SharedFile* replaced);

  bool IsSettled();   // nothing waits to be sent
  bool HasUnsaved();  // written since the last save
  std::optional<Delay> Waiting();
  // Hands contents that the service holds as well to the block cache. No handle may be open.
  void Retire();

 private:
  void SendSealed(int retries);
  void Seal();
  void Stored(const Entry& entry, const SpoolPtr& contents, const std::string& path);
  void NotStored(const FsError& error, const SpoolPtr& contents);
  void Bring(std::uint64_t count);
  SpoolPtr BringSpool(std::uint64_t count);
  void CopyBeforeWriting();
  void Abandon();
  void Strike(const SpoolPtr& contents);
  void Wrote();
  std::optional<Node> FindStored();
  void MoveStored(const Node& stored, const std::string& target);
  void DeleteStored(const Node& stored, const std::string& name);
  SpoolPtr ContentsOf(const Node& stored);

  FileServices& services_;
  std::mutex transfer_;  // held over this file's transfers, saving, renaming and removal
  std::mutex state_;     // guards what follows; held for local work only
  std::string path_;
  bool gone_ = false;  // the name was removed or replaced: nothing is sent any more
  std::optional<Node> stored_;
  bool uncertain_ = false;  // a failed upload may have been stored all the same
  SpoolPtr work_;
  SpoolPtr sealed_;  // perhaps the work itself
  bool dirty_ = false;
  bool fresh_ = false;    // empty, and never written
  bool settled_ = false;  // fresh, and closed once
  timespec modified_{};
  std::shared_ptr<UploadControl> sending_;
  int failures_ = 0;
  std::optional<FsError> failure_;
};
using SharedFilePtr = std::shared_ptr<SharedFile>;

}  // namespace b2drive::mount
