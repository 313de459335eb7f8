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
void Apply(Value& value, const std::optional<Value>& change) {
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

const Store::BucketState& Store::At(const std::string& bucket_id) const {
  return BucketIn(buckets_, bucket_id);
}

Store::BucketState& Store::At(const std::string& bucket_id) {
  return BucketIn(buckets_, bucket_id);
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
  ledger_->Put(wanted);
  return NewBucket(std::move(wanted)).record;
}

Store::BucketState& Store::NewBucket(Bucket record) {
  BucketState& state = buckets_[record.id];
  state.id = std::make_shared<const std::string>(record.id);
  state.record = std::move(record);
  return state;
}

Bucket Store::UpdateBucket(const std::string& bucket_id, const BucketChange& change) {
  base::WriteLock lock(mutex_);
  Bucket& current = At(bucket_id).record;
  Bucket record = current;
  if (change.if_revision_is && *change.if_revision_is != record.revision) {
    throw ServiceError(409, "conflict", "The bucket's revision is another");
  }
  Apply(record.type, change.type);
  Apply(record.info, change.info);
  Apply(record.cors_rules, change.cors_rules);
  Apply(record.lifecycle_rules, change.lifecycle_rules);
  ++record.revision;
  ledger_->Put(record);
  return current = record;
}

Bucket Store::DeleteBucket(const std::string& bucket_id) {
  base::WriteLock lock(mutex_);
  BucketState& state = At(bucket_id);
  if (!state.versions.empty()) {
    throw ServiceError(400, "cannot_delete_non_empty_bucket", "Cannot delete non-empty bucket");
  }
  Bucket record = state.record;
  ++record.revision;
  ledger_->ForgetBucket(bucket_id);
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
  return At(bucket_id).record;
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

VersionPtr Store::Add(BucketState& bucket, Version version) {
  auto added = std::make_shared<const Version>(std::move(version));
  ledger_->Put(*added);
  Insert(bucket, added);
  return added;
}

void Store::Insert(BucketState& bucket, const VersionPtr& version) {
  bucket.versions.Insert(version);
  by_sequence_[version->sequence] = version;
}

void Store::Remove(const VersionPtr& version) {
  ledger_->Forget(*version, next_sequence_);
  Erase(version);
}

void Store::Erase(const VersionPtr& version) {
  At(*version->bucket_id).versions.Erase(version);
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
  content = Adopt(std::move(content));
  base::WriteLock lock(mutex_);
  BucketState& bucket = At(bucket_id);
  return Add(bucket, Make(bucket, file, std::move(content), Action::kUpload));
}

VersionPtr Store::Hide(const std::string& bucket_id, const std::string& name) {
  static const ContentPtr nothing = Content::FromText("");
  base::WriteLock lock(mutex_);
  BucketState& bucket = At(bucket_id);
  const VersionPtr newest = bucket.versions.NewestFinished(name);
  if (!newest) throw ServiceError(400, "no_such_file", "File not present: " + name);
  if (newest->action == Action::kHide) {
    throw ServiceError(400, "already_hidden", "File already hidden: " + name);
  }
  const NewFile marker{.name = name, .content_type = std::string(kHideMarkerType)};
  return Add(bucket, Make(bucket, marker, nothing, Action::kHide));
}

VersionPtr Store::Find(const std::string& file_id) const {
  base::ReadLock lock(mutex_);
  VersionPtr version = Lookup(file_id);
  if (!version) throw NotFound("File not present: " + file_id);
  return version;
}

VersionPtr Store::Visible(const std::string& bucket_id, const std::string& name) const {
  base::ReadLock lock(mutex_);
  return At(bucket_id).versions.Visible(name);
}

void Store::Delete(const std::string& name, const std::string& file_id) {
  base::WriteLock lock(mutex_);
  const VersionPtr version = SequenceOf(file_id) ? Lookup(file_id) : nullptr;
  if (!version || version->name != name) {
    throw ServiceError(400, "file_not_present", "File not present: " + name + " " + file_id);
  }
  Remove(version);
}

ListPage Store::ListNames(const std::string& bucket_id, const ListQuery& query) const {
  base::ReadLock lock(mutex_);
  return At(bucket_id).versions.ListVisible(query);
}

ListPage Store::ListVersions(const std::string& bucket_id, const ListQuery& query) const {
  base::ReadLock lock(mutex_);
  return At(bucket_id).versions.ListAll(query);
}

}  // namespace emulator
