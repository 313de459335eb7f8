#pragma once

#include <chrono>
#include <condition_variable>
#include <ctime>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/drive.h"

namespace b2drive::mount {

// What the service holds under a name.
struct Node {
  bool folder = false;
  std::uint64_t size = 0;  // bytes
  std::string id;          // the plug-in's identifier
  timespec modified{};     // zero for folders
};

Node ToNode(const Entry& entry);
Entry ToEntry(const Node& node, std::string_view path);

// Folders as the service lists them. One listing answers for all names of a folder, also for those
// that are not there, for `lifetime`; own changes are made in it at once, and also in listings that
// were under way. Failures of the lister pass through. Thread-safe; several threads that ask for
// one folder wait for one listing.
class DirectoryCache {
 public:
  using Lister = std::function<Listing(const std::string& folder_id, const std::string& path)>;
  using Names = std::map<std::string, Node>;

  DirectoryCache(Lister lister, std::chrono::seconds lifetime);

  // All names of a folder in order, without those that no file system can hold.
  std::vector<std::pair<std::string, Node>> List(const std::string& folder);
  std::optional<Node> Find(const std::string& path);
  // Whether the folder of `path` holds any other name.
  bool HasSiblings(const std::string& path);
  // Asks nobody.
  bool IsKnownEmpty(const std::string& folder);
  // Up to `count` names behind `name`, of folders or of files, as far as they are known at once.
  // Asks nobody.
  std::vector<std::string> After(const std::string& folder, const std::string& name, bool folders,
                                 std::size_t count);

  // The identifier of a folder, which need not exist. Throws FsError when its bucket does not.
  std::string FolderId(const std::string& folder);

  void Put(const std::string& path, const Node& node);
  // A folder just made, so that it needs no listing.
  void PutEmptyFolder(const std::string& path, const Node& node);
  void Remove(const std::string& path);
  // The folder is listed again when next asked for.
  void Forget(const std::string& folder);

 private:
  using Clock = std::chrono::steady_clock;

  struct Change {
    std::string name;
    std::optional<Node> node;  // none: removed
  };
  struct Folder {
    Names names;
    bool known = false;
    Clock::time_point listed_at{};
    bool listing = false;
    std::uint64_t failures = 0;
    std::exception_ptr failure;
    std::vector<Change> changes;  // made while listing
  };

  Folder& Ready(std::unique_lock<std::mutex>& lock, const std::string& path);
  // Waits for another thread's listing; throws its failure.
  void AwaitListing(std::unique_lock<std::mutex>& lock, const Folder& folder);
  void Read(std::unique_lock<std::mutex>& lock, Folder& folder, const std::string& path);
  void Fill(Folder& folder, const Listing& listing, const std::string& path);
  void Apply(const std::string& path, const std::optional<Node>& node);
  void DropOldest(const Folder& keep);

  const Lister lister_;
  const std::chrono::seconds lifetime_;
  std::mutex mutex_;  // guards what follows; not held while the service is asked
  std::condition_variable listed_;
  std::unordered_map<std::string, Folder> folders_;
  std::size_t names_ = 0;  // in all folders
};

}  // namespace b2drive::mount
