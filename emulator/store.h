#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/thread_safety.h"
#include "emulator/content.h"
#include "emulator/names.h"

namespace emulator {

// `id` and `revision` are the store's to choose.
struct Bucket {
  std::string id = {};
  std::string name = {};
  std::string type = "allPrivate";
  FileInfo info = {};
  std::string cors_rules = "[]";       // JSON, kept as it came
  std::string lifecycle_rules = "[]";  // JSON, kept as it came; nothing acts on it
  int64_t revision = 1;
};

// What to change of a bucket; members not given stay.
struct BucketChange {
  std::optional<std::string> type = {};
  std::optional<FileInfo> info = {};
  std::optional<std::string> cors_rules = {};
  std::optional<std::string> lifecycle_rules = {};
  std::optional<int64_t> if_revision_is = {};
};

enum class Action { kUpload, kHide, kStart };

// What a client says about a file it stores.
struct NewFile {
  std::string name = {};
  std::string content_type = "b2/x-auto";
  FileInfo info = {};
};

// One version of a file name, immutable: a finished large file is a new object with the same ID.
struct Version {
  std::string Id() const;

  std::string name;
  std::string content_type;
  FileInfo info;
  std::shared_ptr<const std::string> bucket_id;
  ContentPtr content;  // never null; empty for hide markers and unfinished files
  int64_t timestamp;   // ms since 1970
  uint64_t sequence;   // grows with each version made, in all buckets together
  Action action;
  bool large = false;
};
using VersionPtr = std::shared_ptr<const Version>;

struct Part {
  int64_t number;
  ContentPtr content;
  int64_t timestamp;  // ms since 1970
};

// What part of a bucket's listing is wanted.
struct ListQuery {
  std::string prefix = {};
  std::string start_name = {};
  // With `start_name`: begin at this version of it, or at the next in order.
  std::optional<uint64_t> start_sequence = {};
  // Empty: no grouping into folders.
  std::string delimiter = {};
  size_t max_count = 100;
  // A second prefix that every name must have; plays no part in the grouping.
  std::string confined_to = {};
};

// A version, or the folder it stands for (the name up to and including the delimiter).
struct ListEntry {
  VersionPtr version;
  std::string folder;

  const std::string& Name() const { return folder.empty() ? version->name : folder; }
};

struct ListPage {
  std::vector<ListEntry> entries;
  std::optional<ListEntry> next;  // where the next page begins
};

// The service's model: buckets, versions, large files; knows nothing of HTTP. Safe for concurrent
// use: every call locks for its own duration, which never includes the moving of content.
// Refusals are thrown as ServiceError in the service's words.
class Store {
 public:
  struct Rules {
    int64_t minimum_part_size = 5'000'000;
    bool allow_single_part = false;
    size_t bucket_cap = 100;
    std::function<int64_t()> clock = {};  // empty: the system's clock
  };

  explicit Store(Rules rules);

  // Takes `wanted`'s name, type, info and rules.
  Bucket CreateBucket(Bucket wanted);
  Bucket UpdateBucket(const std::string& bucket_id, const BucketChange& change);
  // Only of an empty bucket. Returns what it was.
  Bucket DeleteBucket(const std::string& bucket_id);
  // Sorted by name.
  std::vector<Bucket> Buckets() const;
  // Throws 400 bad_bucket_id.
  Bucket GetBucket(const std::string& bucket_id) const;
  // By name without regard to case.
  std::optional<Bucket> FindBucket(std::string_view name) const;

  // Adds a version, which is visible from then on.
  VersionPtr AddFile(const std::string& bucket_id, const NewFile& file, ContentPtr content);
  VersionPtr Hide(const std::string& bucket_id, const std::string& name);
  // Of any action. Throws 404 for an unknown ID, 400 for what is none.
  VersionPtr Find(const std::string& file_id) const;
  // The version a download by name gets; null when there is none.
  VersionPtr Visible(const std::string& bucket_id, const std::string& name) const;
  // Deletes a version; an unfinished large file is cancelled.
  void Delete(const std::string& name, const std::string& file_id);

  ListPage ListNames(const std::string& bucket_id, const ListQuery& query) const;
  ListPage ListVersions(const std::string& bucket_id, const ListQuery& query) const;

  VersionPtr StartLarge(const std::string& bucket_id, const NewFile& file);
  Part AddPart(const std::string& file_id, int64_t number, ContentPtr content);
  VersionPtr FinishLarge(const std::string& file_id, const std::vector<std::string>& part_sha1s);
  // Returns what was cancelled.
  VersionPtr CancelLarge(const std::string& file_id);
  // The unfinished large file of that ID. Throws 400 "No active upload".
  VersionPtr ActiveLarge(const std::string& file_id) const;
  // In order of their numbers.
  std::vector<Part> Parts(const std::string& file_id) const;
  // Unfinished large files, oldest first.
  std::vector<VersionPtr> Unfinished(const std::string& bucket_id) const;
  // Unfinished large files of all buckets.
  size_t UnfinishedCount() const;

 private:
  struct Position {
    std::string_view name;
    uint64_t sequence;
  };
  // By name, then newest first.
  struct Order {
    using is_transparent = void;
    static Position Of(const VersionPtr& version) { return {version->name, version->sequence}; }
    static Position Of(const Position& position) { return position; }
    template <typename Left, typename Right>
    bool operator()(const Left& left, const Right& right) const {
      const Position a = Of(left);
      const Position b = Of(right);
      const int names = a.name.compare(b.name);
      return names < 0 || (names == 0 && a.sequence > b.sequence);
    }
  };
  using VersionSet = std::set<VersionPtr, Order>;

  struct BucketState {
    Bucket record;
    std::shared_ptr<const std::string> id;
    VersionSet versions;  // all of them
    VersionSet visible;   // of each name the version that list_file_names shows
  };
  struct LargeFile {
    VersionPtr start;
    std::map<int64_t, Part> parts;
  };

  static constexpr uint64_t kNewest = UINT64_MAX;

  static ListPage Page(const VersionSet& set, const ListQuery& query);
  static VersionPtr NewestFinished(const BucketState& bucket, const std::string& name);
  static void RefreshVisible(BucketState& bucket, const std::string& name);

  BucketState& At(const std::string& bucket_id) B2_REQUIRES(mutex_);
  const BucketState& At(const std::string& bucket_id) const B2_REQUIRES_SHARED(mutex_);
  const Bucket* Named(std::string_view name) const B2_REQUIRES_SHARED(mutex_);
  VersionPtr Lookup(const std::string& file_id) const B2_REQUIRES_SHARED(mutex_);
  LargeFile& Large(const std::string& file_id) B2_REQUIRES(mutex_);
  const LargeFile& Large(const std::string& file_id) const B2_REQUIRES_SHARED(mutex_);
  VersionPtr Make(const BucketState& bucket, const NewFile& file, ContentPtr content, Action action)
      B2_REQUIRES(mutex_);
  void Insert(BucketState& bucket, const VersionPtr& version) B2_REQUIRES(mutex_);
  void Erase(BucketState& bucket, const VersionPtr& version) B2_REQUIRES(mutex_);
  void CheckParts(const LargeFile& large, const std::vector<std::string>& part_sha1s) const
      B2_REQUIRES_SHARED(mutex_);

  const Rules rules_;

  mutable base::SharedMutex mutex_;
  std::map<std::string, BucketState> buckets_ B2_GUARDED_BY(mutex_);  // by ID
  std::unordered_map<uint64_t, VersionPtr> by_sequence_ B2_GUARDED_BY(mutex_);
  std::map<uint64_t, LargeFile> large_ B2_GUARDED_BY(mutex_);  // by sequence: oldest first
  uint64_t next_sequence_ B2_GUARDED_BY(mutex_) = 0x100001;
};

}  // namespace emulator
