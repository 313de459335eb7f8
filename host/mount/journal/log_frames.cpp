#include "host/mount/journal/log_frames.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

namespace b2drive::mount {
namespace {

constexpr std::size_t kBlock = 4096;  // bytes: the sector of most disks

// Before each piece; as the machine that wrote it keeps numbers. Where a block has no room for one
// and a byte behind it there are zeros.
struct PieceHeader {
  std::uint32_t checksum;  // of all that follows, never 0: what was never written is no piece
  std::uint16_t size;
  std::uint8_t first;
  std::uint8_t last;
};

struct Piece {
  bool first;
  bool last;
  std::string_view bytes;
};

std::uint32_t ChecksumOf(const PieceHeader& header, std::string_view bytes) {
  const auto add = [](uLong sum, const void* data, std::size_t count) {
    return crc32_z(sum, static_cast<const Bytef*>(data), count);
  };
  constexpr std::size_t kSummed = sizeof header.checksum;
  uLong sum = add(0, reinterpret_cast<const char*>(&header) + kSummed, sizeof header - kSummed);
  sum = add(sum, bytes.data(), bytes.size());
  return std::max<std::uint32_t>(static_cast<std::uint32_t>(sum), 1);
}

void Append(std::string& framed, const Piece& piece) {
  PieceHeader header{0, static_cast<std::uint16_t>(piece.bytes.size()), piece.first, piece.last};
  header.checksum = ChecksumOf(header, piece.bytes);
  framed.append(reinterpret_cast<const char*>(&header), sizeof header);
  framed += piece.bytes;
}

std::optional<Piece> PieceAt(std::string_view left) {
  PieceHeader header{};
  std::memcpy(&header, left.data(), sizeof header);
  left.remove_prefix(sizeof header);
  const std::string_view bytes = left.substr(0, header.size);
  if (bytes.size() != header.size || ChecksumOf(header, bytes) != header.checksum) return {};
  return Piece{header.first != 0, header.last != 0, bytes};
}

}  // namespace

std::string FrameText(std::string_view text, std::uint64_t at) {
  std::string framed;
  framed.reserve(MostFramed(text.size()));
  for (bool first = true; !text.empty();) {
    const std::size_t room = kBlock - (at + framed.size()) % kBlock;
    if (room <= sizeof(PieceHeader)) {
      framed.append(room, '\0');
      continue;
    }
    const std::string_view bytes = text.substr(0, room - sizeof(PieceHeader));
    text.remove_prefix(bytes.size());
    Append(framed, {std::exchange(first, false), text.empty(), bytes});
  }
  return framed;
}

std::uint64_t MostFramed(std::uint64_t text_size) {
  const std::uint64_t whole_blocks = text_size / (kBlock - sizeof(PieceHeader));
  return text_size + sizeof(PieceHeader) * (whole_blocks + 3);  // two more begun, and no room
}

Unframed UnframeTexts(std::string_view file) {
  Unframed found;
  std::string text;
  bool begun = false;
  bool gap = false;  // also where nothing was written yet
  for (; !file.empty(); file.remove_prefix(std::min(kBlock, file.size()))) {
    for (std::string_view left = file.substr(0, kBlock); left.size() > sizeof(PieceHeader);) {
      const std::optional<Piece> piece = PieceAt(left);
      if (!piece) {
        gap = true;
        begun = false;
        break;
      }
      left.remove_prefix(sizeof(PieceHeader) + piece->bytes.size());
      if (piece->first) text.clear();
      begun = begun || piece->first;
      text += piece->bytes;
      if (!piece->last || !begun) continue;
      begun = false;
      found.damaged = found.damaged || gap;
      found.texts.push_back(text);
    }
  }
  return found;
}

}  // namespace b2drive::mount
