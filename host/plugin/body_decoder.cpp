#include "host/plugin/body_decoder.h"

#include <zlib.h>

#include <array>
#include <istream>
#include <memory>
#include <ostream>

#include "base/encodings.h"

namespace b2drive {
namespace {

constexpr std::size_t kMostBody = 256UL << 20;  // bytes; what a log says could be anyone's

bool IsHex(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789ABCDEF") == std::string_view::npos;
}

std::optional<std::string> Inflate(std::string stream_bytes) {
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) return std::nullopt;
  std::unique_ptr<z_stream, int (*)(z_stream*)> guard(&stream, inflateEnd);
  stream.next_in = reinterpret_cast<Bytef*>(stream_bytes.data());
  stream.avail_in = static_cast<uInt>(stream_bytes.size());
  std::string out;
  std::array<char, 32768> piece{};
  int result = Z_OK;
  while (result == Z_OK) {
    stream.next_out = reinterpret_cast<Bytef*>(piece.data());
    stream.avail_out = static_cast<uInt>(piece.size());
    result = inflate(&stream, Z_NO_FLUSH);
    out.append(piece.data(), piece.size() - stream.avail_out);
    if (out.size() > kMostBody) return std::nullopt;
  }
  if (result != Z_STREAM_END) return std::nullopt;
  return out;
}

}  // namespace

std::optional<std::string> InflateBody(std::string_view hex) {
  // The module drops the header, which differs only in bits that inflating does not need.
  auto bytes = base::FromHex(hex);
  return bytes ? Inflate("\x78\x9C" + *bytes) : std::nullopt;
}

int DecodeBodyLog(std::istream& in, std::ostream& out) {
  int damaged = 0;
  bool body_follows = false;
  std::string line;
  while (std::getline(in, line)) {
    if (body_follows && IsHex(line)) {
      auto body = InflateBody(line);
      if (!body) ++damaged;
      out << (body ? *body : line) << '\n';
      continue;
    }
    out << line << '\n';
    body_follows = line.ends_with(">> ") || line.ends_with(">>");
  }
  return damaged;
}

}  // namespace b2drive
