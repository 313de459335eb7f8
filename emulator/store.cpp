#include "emulator/store.h"

#include <algorithm>
#include <utility>

#include "emulator/content_types.h"
#include "emulator/errors.h"
#include "emulator/file_id.h"
#include "emulator/names.h"
#include "emulator/random.h"
#include "emulator/timestamp.h"

namespace emulator {
namespace {

constexpr size_t kMaxBuckets = 100;

// Throws 400 bad_bucket_id.
template <typename Buckets>
auto& BucketIn(Buckets& buckets, const std::string& id) {
  const auto found = buckets.find(id);
  if (found == buckets.end()) {
    throw ServiceError(400, "bad_bucket_id", "Bucket " + id + " does not exist");
  }
  return found->second;
}

template <typename Value>
void Replace(Value& value, const std::optional<Value>& change) {
  if (change) value = *change;
}

}  // namespace

const Bucket* Store::Named(std::string_view name) const {
  const std::string wanted = ToLower(name);
  for (const auto& [id, state] : buckets_) {
    if (ToLower(state.record.name) == wanted) return &state.record;
  }
  return nullptr;
}

Bucket Store::CreateBucket(Bucket wanted) {
  CheckBucketName(wanted.name);
  wanted.id = RandomHex(24);
  wanted.revision = 1;
  base::WriteLock lock(mutex_);
  if (Named(wanted.name) != nullptr) {
    throw ServiceError(400, "duplicate_bucket_name", "Bucket name is already in use.");
  }
  if (buckets_.size() >= kMaxBuckets) {
    throw ServiceError(400, "too_many_buckets", "Too many buckets");
  }
  BucketState& state = buckets_[wanted.id];
  state.id = std::make_shared<const std::string>(wanted.id);
  state.record = std::move(wanted);
  return state.record;
}

Bucket Store::UpdateBucket(const std::string& bucket_id, const BucketChange& change) {
  base::WriteLock lock(mutex_);
  Bucket& record = BucketIn(buckets_, bucket_id).record;
  if (change.if_revision_is && *change.if_revision_is != record.revision) {
    throw ServiceError(409, "conflict", "The bucket's revision is another");
  }
  Replace(record.type, change.type);
  Replace(record.info, change.info);
  Replace(record.cors_rules, change.cors_rules);
  Replace(record.lifecycle_rules, change.lifecycle_rules);
  ++record.revision;
  return record;
}

Bucket Store::DeleteBucket(const std::string& bucket_id) {
  base::WriteLock lock(mutex_);
  BucketState& state = BucketIn(buckets_, bucket_id);
  if (!state.versions.empty()) {
    throw ServiceError(400, "cannot_delete_non_empty_bucket", "Cannot delete non-empty bucket");
  }
  Bucket record = state.record;
  ++record.revision;
  buckets_.erase(bucket_id);
  return record;
}

std::vector<Bucket> Store::Buckets() const {
  std::vector<Bucket> all;
  {
    base::ReadLock lock(mutex_);
    for (const auto& [id, state] : buckets_) all.push_back(state.record);
  }
  std::ranges::sort(all, {}, &Bucket::name);
  return all;
}

Bucket Store::GetBucket(const std::string& bucket_id) const {
  base::ReadLock lock(mutex_);
  return BucketIn(buckets_, bucket_id).record;
}

std::optional<Bucket> Store::FindBucket(std::string_view name) const {
  base::ReadLock lock(mutex_);
  const Bucket* const found = Named(name);
  if (found == nullptr) return std::nullopt;
  return *found;
}

Version Store::Make(const BucketState& bucket, const NewFile& file, ContentPtr content,
                    Action action) {
  return {.name = file.name,
          .content_type = ResolveContentType(file.content_type, file.name),
          .info = CheckedInfo(file.info, file.name),
          .bucket_id = bucket.id,
          .content = std::move(content),
          .timestamp = Timestamp(),
          .sequence = next_sequence_++,
          .action = action};
}

VersionPtr Store::Insert(BucketState& bucket, Version version) {
  auto inserted = std::make_shared<const Version>(std::move(version));
  bucket.versions.Insert(inserted);
  by_sequence_[inserted->sequence] = inserted;
  return inserted;
}

void Store::Erase(const VersionPtr& version) {
  BucketIn(buckets_, *version->bucket_id).versions.Erase(version);
  by_sequence_.erase(version->sequence);
  large_.Erase(*version);
}

VersionPtr Store::Lookup(const std::string& file_id) const {
  const std::optional<uint64_t> sequence = SequenceOf(file_id);
  if (!sequence) throw BadRequest("Invalid fileId: " + file_id);
  const auto found = by_sequence_.find(*sequence);
  return found != by_sequence_.end() && found->second->Id() == file_id ? found->second : nullptr;
}

VersionPtr Store::AddFile(const std::string& bucket_id, const NewFile& file, ContentPtr content) {
  CheckFileName(file.name);
  base::WriteLock lock(mutex_);
  BucketState& bucket = BucketIn(buckets_, bucket_id);
  return Insert(bucket, Make(bucket, file, std::move(content), Action::kUpload));
}

VersionPtr Store::Hide(const std::string& bucket_id, const std::string& name) {
  static const ContentPtr nothing = Content::FromText("");
  base::WriteLock lock(mutex_);
  BucketState& bucket = BucketIn(buckets_, bucket_id);
  const VersionPtr newest = bucket.versions.NewestFinished(name);
  if (!newest) throw ServiceError(400, "no_such_file", "File not present: " + name);
  if (newest->action == Action::kHide) {
    throw ServiceError(400, "already_hidden", "File already hidden: " + name);
  }
  const NewFile marker{.name = name, .content_type = std::string(kHideMarkerType)};
  return Insert(bucket, Make(bucket, marker, nothing, Action::kHide));
}

VersionPtr Store::Find(const std::string& file_id) const {
  base::ReadLock lock(mutex_);
  VersionPtr version = Lookup(file_id);
  if (!version) throw NotFound("File not present: " + file_id);
  return version;
}

VersionPtr Store::Visible(const std::string& bucket_id, const std::string& name) const {
  base::ReadLock lock(mutex_);
  return BucketIn(buckets_, bucket_id).versions.Visible(name);
}

void Store::Delete(const std::string& name, const std::string& file_id) {
  base::WriteLock lock(mutex_);
  const VersionPtr version = SequenceOf(file_id) ? Lookup(file_id) : nullptr;
  if (!version || version->name != name) {
    throw ServiceError(400, "file_not_present", "File not present: " + name + " " + file_id);
  }
  Erase(version);
}

ListPage Store::ListNames(const std::string& bucket_id, const ListQuery& query) const {
  base::ReadLock lock(mutex_);
  return BucketIn(buckets_, bucket_id).versions.ListVisible(query);
}

ListPage Store::ListVersions(const std::string& bucket_id, const ListQuery& query) const {
  base::ReadLock lock(mutex_);
  return BucketIn(buckets_, bucket_id).versions.ListAll(query);
}

VersionPtr Store::StartLarge(const std::string& bucket_id, const NewFile& file) {
  static const ContentPtr none = std::make_shared<const Content>();
  CheckFileName(file.name);
  base::WriteLock lock(mutex_);
  BucketState& bucket = BucketIn(buckets_, bucket_id);
  Version start = Make(bucket, file, none, Action::kStart);
  start.large = true;
  return large_.Insert(Insert(bucket, std::move(start)));
}

Part Store::AddPart(const std::string& file_id, int64_t number, ContentPtr content) {
  if (number < 1 || number > 10'000) {
    throw BadRequest("Part number must be between 1 and 10000: " + std::to_string(number));
  }
  base::WriteLock lock(mutex_);
  return large_.Put(file_id, {number, std::move(content), Timestamp()});
}

VersionPtr Store::FinishLarge(const std::string& file_id,
                              const std::vector<std::string>& part_sha1s) {
  base::WriteLock lock(mutex_);
  const VersionPtr start = large_.Find(file_id);
  Version finished = *start;
  finished.action = Action::kUpload;
  finished.content = large_.Join(file_id, part_sha1s, minimum_part_size_);
  Erase(start);
  return Insert(BucketIn(buckets_, *start->bucket_id), std::move(finished));
}

VersionPtr Store::CancelLarge(const std::string& file_id) {
  base::WriteLock lock(mutex_);
  VersionPtr start = large_.Find(file_id);
  Erase(start);
  return start;
}

VersionPtr Store::ActiveLarge(const std::string& file_id) const {
  base::ReadLock lock(mutex_);
  return large_.Find(file_id);
}

std::vector<Part> Store::Parts(const std::string& file_id) const {
  base::ReadLock lock(mutex_);
  return large_.Parts(file_id);
}

std::vector<VersionPtr> Store::Unfinished(const std::string& bucket_id) const {
  base::ReadLock lock(mutex_);
  BucketIn(buckets_, bucket_id);  // which must exist
  return large_.InBucket(bucket_id);
}

size_t Store::UnfinishedCount() const {
  base::ReadLock lock(mutex_);
  return large_.size();
}

}  // namespace emulator
