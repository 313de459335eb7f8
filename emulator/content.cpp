#include "emulator/content.h"

#include <algorithm>
#include <utility>

#include "emulator/sha1.h"

namespace emulator {
namespace {

Content::Block NoiseBlock() {
  auto block = std::make_shared_for_overwrite<char[]>(Content::kBlockSize);
  uint64_t state = 0x9E3779B97F4A7C15;
  std::generate_n(block.get(), Content::kBlockSize, [&state] {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return static_cast<char>(state & 0xFF);
  });
  return block;
}

}  // namespace

std::shared_ptr<const Content> Content::FromText(std::string_view text) {
  auto block = std::make_shared_for_overwrite<char[]>(text.size());
  std::copy(text.begin(), text.end(), block.get());
  auto content = std::make_shared<Content>();
  content->Append(std::move(block), text.size());
  content->sha1 = content->ComputeSha1();
  return content;
}

std::shared_ptr<const Content> Content::Synthetic(uint64_t size,
                                                  const std::function<bool()>& go_on) {
  static const Block noise = NoiseBlock();
  auto content = std::make_shared<Content>();
  Sha1 digest;
  for (uint64_t left = size; left > 0;) {
    if (go_on && !go_on()) return nullptr;
    const uint64_t step = std::min<uint64_t>(left, kBlockSize);
    content->AppendPiece(noise, 0, step);
    digest.Update({noise.get(), step});
    left -= step;
  }
  content->sha1 = digest.HexDigest();
  return content;
}

void Content::AppendPiece(Block block, uint64_t skipped, uint64_t length) {
  if (length > 0) pieces_.push_back({std::move(block), skipped, size() + length});
}

void Content::Append(const Content& other, uint64_t first, uint64_t length) {
  uint64_t begin = 0;
  for (const Piece& piece : other.pieces_) {
    const uint64_t from = std::max(begin, first);
    const uint64_t to = std::min(piece.end, first + length);
    if (from < to) AppendPiece(piece.block, piece.skipped + from - begin, to - from);
    begin = piece.end;
  }
}

std::string_view Content::At(uint64_t offset) const {
  const auto piece = std::upper_bound(
      pieces_.begin(), pieces_.end(), offset,
      [](uint64_t value, const Piece& candidate) { return value < candidate.end; });
  if (piece == pieces_.end()) return {};
  const uint64_t begin = piece == pieces_.begin() ? 0 : std::prev(piece)->end;
  return {piece->block.get() + piece->skipped + (offset - begin), piece->end - offset};
}

std::string Content::Text() const {
  std::string text;
  text.reserve(size());
  while (text.size() < size()) text += At(text.size());
  return text;
}

std::string Content::ComputeSha1() const {
  Sha1 digest;
  for (uint64_t offset = 0; offset < size();) {
    const std::string_view bytes = At(offset);
    digest.Update(bytes);
    offset += bytes.size();
  }
  return digest.HexDigest();
}

std::string_view BareSha1(std::string_view shown) {
  constexpr std::string_view kUnverified = "unverified:";
  if (shown.starts_with(kUnverified)) shown.remove_prefix(kUnverified.size());
  return shown;
}

}  // namespace emulator
