#include "emulator/content_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "emulator/errors.h"

namespace emulator {
namespace {

// As much of the process's addresses is set aside, or less where there are not so many; the file
// can never be larger.
constexpr uint64_t kMostAddresses = uint64_t{1} << 40;
// The disk gets back what is free in runs of at least this many bytes.
constexpr uint64_t kWorthPunching = uint64_t{1} << 20;

struct Mapping {
  void* base = MAP_FAILED;
  uint64_t size = kMostAddresses;
};

Mapping Map(int file) {
  constexpr uint64_t kFewest = uint64_t{1} << 32;
  Mapping mapping;
  for (;; mapping.size /= 2) {
    mapping.base = mmap(nullptr, mapping.size, PROT_READ, MAP_SHARED | MAP_NORESERVE, file, 0);
    if (mapping.base != MAP_FAILED || errno != ENOMEM || mapping.size <= kFewest) return mapping;
  }
}

[[noreturn]] void Fail(const std::filesystem::path& path) {
  throw std::system_error(errno, std::generic_category(), path.string());
}

}  // namespace

std::shared_ptr<ContentFile> ContentFile::Open(const std::filesystem::path& path) {
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (file < 0) Fail(path);
  struct stat facts {};
  const Mapping mapping = fstat(file, &facts) == 0 ? Map(file) : Mapping{};
  const bool mapped = mapping.base != MAP_FAILED;
  if (!mapped || static_cast<uint64_t>(facts.st_size) > mapping.size) {
    const int error = mapped ? EFBIG : errno;
    close(file);
    errno = error;
    Fail(path);
  }
  return std::shared_ptr<ContentFile>(new ContentFile(file, static_cast<const char*>(mapping.base),
                                                      mapping.size,
                                                      static_cast<uint64_t>(facts.st_size)));
}

ContentFile::~ContentFile() {
  munmap(const_cast<char*>(base_), most_);
  close(file_);
}

Content::Block ContentFile::BlockAt(uint64_t begin) {
  const auto release = [file = shared_from_this(), begin](const char*) { file->Release(begin); };
  return {base_ + begin, release};
}

Content::Block ContentFile::Claim(Extent extent) {
  {
    base::Lock lock(mutex_);
    const bool fits = extent.size > 0 && extent.size <= size_at_opening_ &&
                      extent.begin <= size_at_opening_ - extent.size;
    const auto behind = used_.lower_bound(extent.begin);
    const bool ends_before = behind == used_.end() || extent.begin + extent.size <= behind->first;
    const bool begins_behind = behind == used_.begin() ||
                               std::prev(behind)->first + std::prev(behind)->second <= extent.begin;
    if (!fits || !ends_before || !begins_behind) {
      throw std::runtime_error("contents are missing from it");
    }
    used_[extent.begin] = extent.size;
  }
  return BlockAt(extent.begin);
}

void ContentFile::FreeTheRest() {
  base::Lock lock(mutex_);
  end_ = 0;
  for (const auto& [begin, size] : used_) {
    free_.Give(end_, begin - end_);
    end_ = begin + size;
  }
  if (ftruncate(file_, static_cast<off_t>(end_)) != 0) throw std::runtime_error("cannot be cut");
}

Content::Block ContentFile::Reserve(uint64_t size) {
  std::optional<uint64_t> begin;
  {
    base::Lock lock(mutex_);
    begin = free_.Take(size);
    if (!begin && size > most_ - end_) {
      throw ServiceError(403, "storage_cap_exceeded", "The data folder is full");
    }
    if (!begin) begin = std::exchange(end_, end_ + size);
    used_[*begin] = size;
  }
  return BlockAt(*begin);
}

void ContentFile::Write(const Content::Block& block, uint64_t offset, std::string_view bytes) {
  uint64_t place = static_cast<uint64_t>(block.get() - base_) + offset;
  while (!bytes.empty()) {
    const ssize_t written = pwrite(file_, bytes.data(), bytes.size(), static_cast<off_t>(place));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      throw ServiceError(503, "service_unavailable",
                         "The data folder: " + std::generic_category().message(errno));
    }
    bytes.remove_prefix(static_cast<size_t>(written));
    place += static_cast<uint64_t>(written);
  }
}

ContentFile::Extent ContentFile::ExtentOf(const Content::Block& block) const {
  const auto address = reinterpret_cast<uintptr_t>(block.get());
  const auto base = reinterpret_cast<uintptr_t>(base_);
  if (address < base || address - base >= most_) return {0, 0};
  base::Lock lock(mutex_);
  return {address - base, used_.at(address - base)};
}

void ContentFile::Release(uint64_t begin) {
  if (!releasing_) return;
  base::Lock lock(mutex_);
  const auto found = used_.find(begin);
  const uint64_t size = found->second;
  used_.erase(found);
  // Before others can reserve it.
  if (size >= kWorthPunching) {
    fallocate(file_, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(begin),
              static_cast<off_t>(size));
  }
  free_.Give(begin, size);
}

}  // namespace emulator
