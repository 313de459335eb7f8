#include "b2/upload_urls.h"

#include <algorithm>
#include <utility>

std::optional<UploadTarget> UploadUrls::Take(const std::string& bucket_id,
                                             UploadTarget::Clock::time_point now) {
  const base::Lock lock(mutex_);
  std::vector<UploadTarget>& kept = kept_[bucket_id];
  // If the newest is old, all are.
  if (!kept.empty() && kept.back().IsOld(now)) kept.clear();
  if (kept.empty()) return std::nullopt;
  UploadTarget target = std::move(kept.back());
  kept.pop_back();
  return target;
}

void UploadUrls::Keep(const std::string& bucket_id, UploadTarget target) {
  const base::Lock lock(mutex_);
  std::vector<UploadTarget>& kept = kept_[bucket_id];
  const auto place = std::ranges::upper_bound(kept, target.obtained, {}, &UploadTarget::obtained);
  kept.insert(place, std::move(target));
  if (kept.size() > kMost) kept.erase(kept.begin());
}

void UploadUrls::Clear() {
  const base::Lock lock(mutex_);
  kept_.clear();
}
