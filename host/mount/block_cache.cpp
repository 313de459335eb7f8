#include "host/mount/block_cache.h"

#include <cerrno>

#include "host/mount/fs_error.h"

namespace b2drive::mount {
namespace fs = std::filesystem;
namespace {

constexpr std::size_t kMostVersions = 4096;  // each holds a descriptor

}  // namespace

BlockCache::BlockCache(fs::path folder, std::uint64_t limit)
    : folder_(std::move(folder)), limit_(limit) {
  std::error_code error;
  fs::remove_all(folder_, error);
  fs::create_directories(folder_, error);
  if (error) throw FsError(error.value(), folder_.string() + ": " + error.message());
}

std::shared_ptr<CachedVersion> BlockCache::Open(const std::string& id, std::uint64_t size) {
  std::lock_guard lock(mutex_);
  auto& version = versions_[id];
  if (!version || version->size() != size) {
    try {
      version = std::make_shared<CachedVersion>(NewFile(), size, false);
    } catch (...) {
      versions_.erase(id);
      throw;
    }
  }
  version->last_used = ++clock_;
  return version;
}

void BlockCache::Adopt(const std::string& id, std::uint64_t size, const fs::path& file) {
  {
    std::lock_guard lock(mutex_);
    fs::path own = NewFile();
    std::error_code error;
    fs::rename(file, own, error);
    if (error) throw FsError(error.value(), file.string() + ": " + error.message());
    auto version = std::make_shared<CachedVersion>(own, size, true);
    version->last_used = ++clock_;
    versions_[id] = std::move(version);
  }
  Shrink();
}

void BlockCache::Forget(const std::string& id) {
  std::lock_guard lock(mutex_);
  versions_.erase(id);
}

void BlockCache::DropAll() {
  std::lock_guard lock(mutex_);
  for (const auto& [id, version] : versions_) version->DropOldest(UINT64_MAX);
  std::erase_if(versions_, [](const auto& kept) { return kept.second.use_count() == 1; });
}

void BlockCache::Shrink() {
  std::lock_guard lock(mutex_);
  std::uint64_t held = BytesHeld();
  if (held <= limit_ && versions_.size() <= kMostVersions) return;
  const std::uint64_t wanted = limit_ - limit_ / 16;  // not at every block
  while (held > wanted || versions_.size() > kMostVersions) {
    std::shared_ptr<CachedVersion> victim = LeastUsed();
    if (!victim) return;
    std::uint64_t bytes = victim->BytesHeld();
    constexpr long kOurs = 2;  // here and in the map
    if (victim.use_count() == kOurs) {
      std::erase_if(versions_, [&](const auto& kept) { return kept.second == victim; });
    } else {
      victim->last_used = ++clock_;
      bytes = victim->DropOldest(held > wanted ? held - wanted : 0);
      if (bytes == 0) return;
    }
    held -= std::min(held, bytes);
  }
}

fs::path BlockCache::NewFile() { return folder_ / std::to_string(next_file_++); }

std::uint64_t BlockCache::BytesHeld() {
  std::uint64_t held = 0;
  for (const auto& [id, version] : versions_) held += version->BytesHeld();
  return held;
}

std::shared_ptr<CachedVersion> BlockCache::LeastUsed() {
  std::shared_ptr<CachedVersion> least;
  for (const auto& [id, version] : versions_) {
    if (!least || version->last_used < least->last_used) least = version;
  }
  return least;
}

}  // namespace b2drive::mount
