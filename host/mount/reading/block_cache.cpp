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
    const auto found = order_.get<1>().find(id);
    if (found != order_.get<1>().end() && found->version->size() == size) {
      order_.relocate(order_.begin(), order_.project<0>(found));
      return found->version;
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
  order_.get<1>().erase(id);
  order_.push_front({id, std::move(version)});
}

void BlockCache::Forget(const std::string& id) {
  Lock lock(mutex_);
  order_.get<1>().erase(id);
}

void BlockCache::DropAll() {
  Lock lock(mutex_);
  for (auto at = order_.begin(); at != order_.end();) {
    at->version->DropOldest(UINT64_MAX);
    at = at->version.use_count() == 1 ? order_.erase(at) : std::next(at);
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
    --at;
    if (at->version.use_count() == 1) {
      at = order_.erase(at);
    } else if (held_ > wanted) {
      at->version->DropOldest(held_ - wanted);
    }
  }
}

fs::path BlockCache::NewFile() { return folder_ / std::to_string(next_file_++); }

}  // namespace b2drive::mount
