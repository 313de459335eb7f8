#include "host/transfer/digest_ahead.h"

#include <sys/stat.h>

#include <exception>
#include <vector>

#include "host/local/local_io.h"
#include "host/local/sha1.h"

namespace b2drive {
namespace {

constexpr std::uint64_t kLarge = 32UL * 1024 * 1024;

bool IsSameFile(const LocalSource& one, const LocalSource& other) {
  struct stat first {};
  struct stat second {};
  return fstat(one.fd.get(), &first) == 0 && fstat(other.fd.get(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino &&
         first.st_size == second.st_size && first.st_mtim.tv_sec == second.st_mtim.tv_sec &&
         first.st_mtim.tv_nsec == second.st_mtim.tv_nsec;
}

}  // namespace

// Whoever sends the file says what is wrong with it.
DigestAhead::DigestAhead(const std::filesystem::path& local) {
  try {
    file_ = OpenSource(local);
    if (file_->size >= kLarge) thread_ = std::thread([this] { sha1_ = Hash(); });
  } catch (const std::exception&) {
    return;
  }
}

DigestAhead::~DigestAhead() {
  given_up_ = true;
  if (thread_.joinable()) thread_.join();
}

std::optional<std::string> DigestAhead::Of(const LocalSource& source) {
  if (thread_.joinable()) thread_.join();
  if (!sha1_ || file_->IsChanged() || !IsSameFile(*file_, source)) return std::nullopt;
  return sha1_;
}

std::optional<std::string> DigestAhead::Hash() const try {
  std::vector<char> piece(256UL * 1024);
  Sha1 sha1;
  for (std::uint64_t at = 0; at < file_->size;) {
    const std::uint64_t left = file_->size - at;
    const std::size_t wanted = left < piece.size() ? left : piece.size();
    const std::size_t got = ReadAt(file_->fd.get(), piece.data(), wanted, at);
    if (got == 0 || given_up_) return std::nullopt;
    sha1.Update(piece.data(), got);
    at += got;
  }
  return sha1.HexDigest();
} catch (const std::exception&) {
  return std::nullopt;
}

}  // namespace b2drive
