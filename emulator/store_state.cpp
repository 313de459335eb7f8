#include <algorithm>

#include "emulator/store.h"

namespace emulator {

void Store::Take(const State& state) {
  for (const Bucket& bucket : state.buckets) NewBucket(bucket);
  for (const VersionPtr& version : state.versions) {
    Insert(At(*version->bucket_id), version);
    if (version->action == Action::kStart) large_.Insert(version);
  }
  for (const auto& [sequence, part] : state.parts) {
    large_.Put(by_sequence_.at(sequence)->Id(), part);
  }
  next_sequence_ = state.next_sequence;
}

void Store::Restore(const State& state) {
  base::WriteLock lock(mutex_);
  Take(state);
}

State Store::Export() const {
  base::ReadLock lock(mutex_);
  State state{.next_sequence = next_sequence_};
  for (const auto& [id, bucket] : buckets_) {
    state.buckets.push_back(bucket.record);
    for (const VersionPtr& start : large_.InBucket(id)) {
      for (Part& part : large_.Parts(start->Id())) {
        state.parts.emplace_back(start->sequence, std::move(part));
      }
    }
  }
  for (const auto& [sequence, version] : by_sequence_) state.versions.push_back(version);
  std::ranges::sort(state.versions, {}, &Version::sequence);
  return state;
}

void Store::Replace(const State& state) {
  base::WriteLock lock(mutex_);
  State next = state;
  next.next_sequence = std::max(next.next_sequence, next_sequence_);
  ledger_->Replace(next);
  buckets_.clear();
  by_sequence_.clear();
  large_ = {};
  Take(next);
}

}  // namespace emulator
