#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/thread_safety.h"
#include "emulator/bucket_versions.h"
#include "emulator/large_files.h"
#include "emulator/ledger.h"
#include "emulator/state.h"
#include "emulator/version.h"

namespace emulator {

// What to change of a bucket; members not given stay.
struct BucketChange {
  std::optional<std::string> type = {};
  std::optional<FileInfo> info = {};
  std::optional<std::string> cors_rules = {};
  std::optional<std::string> lifecycle_rules = {};
  std::optional<int64_t> if_revision_is = {};
};

// The service's model: buckets, versions, large files; knows nothing of HTTP. Safe for concurrent
// use: every call locks for its own duration, which never includes the moving of content.
// Refusals are thrown as ServiceError in the service's words.
class Store {
 public:
  // Parts of large files have at least `minimum_part_size` bytes, except the last.
  explicit Store(int64_t minimum_part_size = 5'000'000,
                 std::shared_ptr<Ledger> ledger = std::make_shared<Ledger>())
      : minimum_part_size_(minimum_part_size), ledger_(std::move(ledger)) {}

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

  // As Ledger::Once, for what fills the store.
  bool Once(const std::string& what, const std::function<bool()>& act) {
    return ledger_->Once(what, act);
  }
  // Whether contents are on disk.
  bool KeepsContents() const { return ledger_->KeepsContents(); }
  // Takes the bytes of an upload, for AddFile and AddPart.
  std::unique_ptr<ContentSink> NewContent(uint64_t size) { return ledger_->NewContent(size); }
  // The same bytes where those of uploads are kept; adding many files of them does it once.
  ContentPtr Adopt(ContentPtr content) { return ledger_->Adopt(std::move(content)); }

  // Adds a version, which is visible from then on.
  VersionPtr AddFile(const std::string& bucket_id, const NewFile& file, ContentPtr content);
  VersionPtr Hide(const std::string& bucket_id, const std::string& name);
  // A version of any action. Throws 404 for an unknown ID, 400 for a text that is no ID.
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

  State Export() const;
  // Everything is as in `state`, whose versions may be the store's own; numbers go on.
  void Replace(const State& state);
  // Takes over what the ledger has already. The store must be empty.
  void Restore(const State& state);

 private:
  struct BucketState {
    Bucket record;
    std::shared_ptr<const std::string> id;
    BucketVersions versions;
  };

  const Bucket* Named(std::string_view name) const B2_REQUIRES_SHARED(mutex_);
  // Throw 400 bad_bucket_id.
  const BucketState& At(const std::string& bucket_id) const B2_REQUIRES_SHARED(mutex_);
  BucketState& At(const std::string& bucket_id) B2_REQUIRES(mutex_);
  // Null for an unknown ID. Throws 400 for a text that is no ID.
  VersionPtr Lookup(const std::string& file_id) const B2_REQUIRES_SHARED(mutex_);
  Version Make(const BucketState& bucket, const NewFile& file, ContentPtr content, Action action)
      B2_REQUIRES(mutex_);
  BucketState& NewBucket(Bucket record) B2_REQUIRES(mutex_);
  // These two tell the ledger, the two below do not.
  VersionPtr Add(BucketState& bucket, Version version) B2_REQUIRES(mutex_);
  void Remove(const VersionPtr& version) B2_REQUIRES(mutex_);
  void Insert(BucketState& bucket, const VersionPtr& version) B2_REQUIRES(mutex_);
  void Erase(const VersionPtr& version) B2_REQUIRES(mutex_);
  void Take(const State& state) B2_REQUIRES(mutex_);

  const int64_t minimum_part_size_;
  const std::shared_ptr<Ledger> ledger_;

  mutable base::SharedMutex mutex_;
  std::map<std::string, BucketState> buckets_ B2_GUARDED_BY(mutex_);  // by ID
  std::unordered_map<uint64_t, VersionPtr> by_sequence_ B2_GUARDED_BY(mutex_);
  LargeFiles large_ B2_GUARDED_BY(mutex_);
  uint64_t next_sequence_ B2_GUARDED_BY(mutex_) = 0x100001;
};

}  // namespace emulator
