#include "host/mount/reading/block_cache.h"

#include <sys/resource.h>

#include <algorithm>
#include <utility>

namespace b2drive::mount {
namespace fs = std::filesystem;

std::size_t MostVersions() {
  constexpr rlim_t kMost = 4096;
  constexpr rlim_t kFewest = 16;
  constexpr rlim_t kShare = 4;  // the others are for connections and for what is being written
  rlimit files{};
  if (getrlimit(RLIMIT_NOFILE, &files) != 0) return kFewest;
  return static_cast<std::size_t>(std::clamp(files.rlim_cur / kShare, kFewest, kMost));
}

BlockCache::BlockCache(Disk& disk, fs::path folder, std::uint64_t limit, std::size_t versions)
    : disk_(disk), folder_(std::move(folder)), limit_(limit), most_versions_(versions) {
  std::error_code error;
  fs::remove_all(folder_, error);
  fs::create_directories(folder_, error);
  if (error) throw FsError(error.value(), folder_.string() + ": " + error.message());
}

std::shared_ptr<CachedVersion> BlockCache::Open(const std::string& id, std::uint64_t size) {
  const auto open = [&] {
    Lock lock(mutex_);
    const auto found = by_id_.find(id);
    if (found != by_id_.end() && found->second->version->size() == size) {
      order_.splice(order_.begin(), order_, found->second);
      return found->second->version;
    }
    auto version = std::make_shared<CachedVersion>(disk_, held_, NewFile(), size, false);
    Keep(id, version);
    return version;
  };
  return WithRoom(*this, open);
}

void BlockCache::Adopt(const std::string& id, std::uint64_t size, const fs::path& file) {
  {
    Lock lock(mutex_);
    const fs::path own = NewFile();
    const int error = disk_.Rename(file, own);
    if (error != 0) throw FsError(error, file.string() + ": cannot be moved");
    Keep(id, std::make_shared<CachedVersion>(disk_, held_, own, size, true));
  }
  Shrink();
}

void BlockCache::Keep(const std::string& id, std::shared_ptr<CachedVersion> version) {
  const auto found = by_id_.find(id);
  if (found != by_id_.end()) Erase(found->second);
  order_.push_front({id, std::move(version)});
  by_id_[id] = order_.begin();
}

void BlockCache::Erase(Order::iterator kept) {
  by_id_.erase(kept->id);
  order_.erase(kept);
}

void BlockCache::Forget(const std::string& id) {
  Lock lock(mutex_);
  const auto found = by_id_.find(id);
  if (found != by_id_.end()) Erase(found->second);
}

void BlockCache::DropAll() {
  Lock lock(mutex_);
  for (auto at = order_.begin(); at != order_.end();) {
    const auto kept = at++;
    kept->version->DropOldest(UINT64_MAX);
    if (kept->version.use_count() == 1) Erase(kept);
  }
}

bool BlockCache::IsFull() const { return held_ > limit_ || order_.size() > most_versions_; }

void BlockCache::Shrink() {
  Lock lock(mutex_);
  if (!IsFull()) return;
  const std::uint64_t wanted = limit_ - limit_ / 16;  // not at every block
  for (auto at = order_.end(); at != order_.begin();) {
    const bool enough = held_ <= wanted && order_.size() <= most_versions_;
    if (enough) return;
    const auto kept = --at;
    if (kept->version.use_count() == 1) {
      ++at;
      Erase(kept);
    } else if (held_ > wanted) {
      kept->version->DropOldest(held_ - wanted);
    }
  }
}

fs::path BlockCache::NewFile() { return folder_ / std::to_string(next_file_++); }

}  // namespace b2drive::mount
