#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace emulator {

// Bytes of a file or part as a sequence of pieces of shared blocks: copies, ranges and repeated
// content take no memory of their own. Immutable once others hold it, so reads need no lock.
class Content {
 public:
  using Block = std::shared_ptr<const char[]>;

  // Size of the blocks in which uploads are received, bytes.
  static constexpr size_t kBlockSize = size_t{1} << 20;

  // Holds a copy of `text`; `sha1` is set to its digest.
  static std::shared_ptr<const Content> FromText(std::string_view text);

  // `size` bytes that repeat one fixed block of noise; `sha1` is set to their digest, which
  // takes about a second per GiB. Null when `go_on`, asked for each block, says no.
  static std::shared_ptr<const Content> Synthetic(uint64_t size,
                                                  const std::function<bool()>& go_on = {});

  // Bytes of a block.
  struct Piece {
    Block block;
    uint64_t skipped;  // bytes of the block before the piece
    uint64_t end;      // offset in the content where the piece ends
  };

  // Appends the first `length` bytes of `block`.
  void Append(Block block, size_t length) { AppendPiece(std::move(block), 0, length); }
  // Appends `length` bytes of `block` from the offset `skipped` on.
  void AppendPiece(Block block, uint64_t skipped, uint64_t length);

  // Appends `length` bytes of `other` from the offset `first` on, all of which it must have.
  void Append(const Content& other, uint64_t first, uint64_t length);

  uint64_t size() const { return pieces_.empty() ? 0 : pieces_.back().end; }

  const std::vector<Piece>& pieces() const { return pieces_; }

  // The longest run of adjacent bytes that starts at `offset`; empty at the end.
  std::string_view At(uint64_t offset) const;

  // All bytes.
  std::string Text() const;

  // Hex SHA-1 of all bytes, computed anew.
  std::string ComputeSha1() const;

  // The hash as the service shows it: 40 hex digits, "unverified:" and 40 hex digits, or "none".
  std::string sha1 = "none";

 private:
  std::vector<Piece> pieces_;
};

using ContentPtr = std::shared_ptr<const Content>;

// A hash as the service shows it, without "unverified:".
std::string_view BareSha1(std::string_view shown);

}  // namespace emulator
