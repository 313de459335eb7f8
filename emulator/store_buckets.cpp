#include <algorithm>
#include <chrono>
#include <utility>

#include "emulator/errors.h"
#include "emulator/random.h"
#include "emulator/store.h"

namespace emulator {
namespace {

int64_t SystemMilliseconds() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

Store::Rules WithClock(Store::Rules rules) {
  if (!rules.clock) rules.clock = SystemMilliseconds;
  return rules;
}

ServiceError NoSuchBucket(const std::string& bucket_id) {
  return ServiceError(400, "bad_bucket_id", "Bucket " + bucket_id + " does not exist");
}

template <typename Value>
void Replace(Value& value, const std::optional<Value>& change) {
  if (change) value = *change;
}

}  // namespace

Store::Store(Rules rules) : rules_(WithClock(std::move(rules))) {}

Store::BucketState& Store::At(const std::string& bucket_id) {
  const auto found = buckets_.find(bucket_id);
  if (found == buckets_.end()) throw NoSuchBucket(bucket_id);
  return found->second;
}

const Store::BucketState& Store::At(const std::string& bucket_id) const {
  const auto found = buckets_.find(bucket_id);
  if (found == buckets_.end()) throw NoSuchBucket(bucket_id);
  return found->second;
}

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
  if (buckets_.size() >= rules_.bucket_cap) {
    throw ServiceError(400, "too_many_buckets", "Too many buckets");
  }
  BucketState& state = buckets_[wanted.id];
  state.id = std::make_shared<const std::string>(wanted.id);
  state.record = std::move(wanted);
  return state.record;
}

Bucket Store::UpdateBucket(const std::string& bucket_id, const BucketChange& change) {
  base::WriteLock lock(mutex_);
  Bucket& record = At(bucket_id).record;
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
  BucketState& state = At(bucket_id);
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
  std::sort(all.begin(), all.end(),
            [](const Bucket& a, const Bucket& b) { return a.name < b.name; });
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

}  // namespace emulator
