#include "b2/part_board.h"

#include <algorithm>
#include <utility>

PartPlan PartPlan::Of(long long size, long long wanted) {
  const long long least = size / kMostParts + (size % kMostParts > 0 ? 1 : 0);
  return {size, std::max({wanted, least, 1LL})};
}

Part PartPlan::At(int number) const {
  const long long start = (number - 1) * part_size;
  return {number, start, std::min(part_size, size - start)};
}

std::optional<Part> PartBoard::Take() {
  const base::Lock lock(mutex_);
  if (taken_ == plan_.Count()) return std::nullopt;
  return plan_.At(++taken_);
}

void PartBoard::Done(const Part& part, std::string sha1) {
  const base::Lock lock(mutex_);
  sha1s_[static_cast<std::size_t>(part.number - 1)] = std::move(sha1);
  bytes_done_ += part.length;
  --missing_;
}

bool PartBoard::IsComplete() const {
  const base::Lock lock(mutex_);
  return missing_ == 0;
}

std::vector<std::string> PartBoard::Sha1s() const {
  const base::Lock lock(mutex_);
  return sha1s_;
}
