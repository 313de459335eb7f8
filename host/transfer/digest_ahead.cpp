#include "host/transfer/digest_ahead.h"

#include <sys/stat.h>

#include <algorithm>
#include <exception>
#include <future>
#include <vector>

#include "host/local/local_io.h"
#include "host/local/sha1.h"

namespace b2drive {
namespace {

constexpr std::uint64_t kLarge = 32UL * 1024 * 1024;
constexpr std::uint64_t kPiece = 1024UL * 1024;

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

// Empty at the end of the file.
void DigestAhead::ReadPiece(std::vector<char>& piece, std::uint64_t at) const {
  piece.resize(std::min<std::uint64_t>(file_->size - at, kPiece));
  piece.resize(ReadAt(file_->fd.get(), piece.data(), piece.size(), at));
}

// The next piece is read meanwhile.
std::optional<std::string> DigestAhead::Hash() const try {
  Sha1 sha1;
  std::vector<char> piece;
  std::vector<char> next;
  ReadPiece(piece, 0);
  for (std::uint64_t at = 0; at < file_->size; piece.swap(next)) {
    if (piece.empty() || given_up_) return std::nullopt;
    at += piece.size();
    auto read = std::async(std::launch::async, [&] { ReadPiece(next, at); });
    sha1.Update(piece.data(), piece.size());
    read.get();
  }
  return sha1.HexDigest();
} catch (const std::exception&) {
  return std::nullopt;
}

}  // namespace b2drive
