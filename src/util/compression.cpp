#include "util/compression.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

#include "util/hex.h"

namespace {

constexpr std::size_t kOutputPiece = 32768;
constexpr const char* kHeader = "789C";
constexpr std::size_t kHeaderDigits = 4;

// Input of any length for a stream whose own counter has 32 bits.
class Input {
 public:
  Input(z_stream& stream, const char* data, std::size_t length) : stream_(stream), length_(length) {
    // zlib declares its input as changeable, but only reads it.
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data));
  }

  // Gives the stream what it can count. Returns whether that is all there is.
  bool Offer() {
    const std::size_t room = std::numeric_limits<uInt>::max() - stream_.avail_in;
    const std::size_t part = std::min(length_, room);
    stream_.avail_in += static_cast<uInt>(part);
    length_ -= part;
    return length_ == 0;
  }

 private:
  z_stream& stream_;
  std::size_t length_;
};

// Runs `step` (deflate or inflate) until it reports the end of the stream. Any other end gives an
// empty text.
template <typename Step>
std::string Run(z_stream& stream, Input input, Step step) {
  std::string output;
  unsigned char piece[kOutputPiece];
  int state = Z_OK;
  while (state == Z_OK) {
    const int flush = input.Offer() ? Z_FINISH : Z_NO_FLUSH;
    stream.next_out = piece;
    stream.avail_out = sizeof piece;
    state = step(&stream, flush);
    output.append(reinterpret_cast<const char*>(piece), sizeof piece - stream.avail_out);
  }
  return state == Z_STREAM_END ? output : std::string();
}

std::string Deflate(const char* data, std::size_t length, int level) {
  z_stream stream{};
  if (deflateInit(&stream, level) != Z_OK) return {};
  std::string output = Run(stream, Input(stream, data, length), deflate);
  deflateEnd(&stream);
  return output;
}

std::string Inflate(const std::string& data) {
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) return {};
  // With the finishing flag inflate would report a full output piece as an error.
  const auto step = [](z_stream* s, int) { return inflate(s, Z_NO_FLUSH); };
  std::string output = Run(stream, Input(stream, data.data(), data.size()), step);
  inflateEnd(&stream);
  return output;
}

}  // namespace

std::string compress_string(const char* data, unsigned long length, int level) {
  const std::string deflated = Deflate(data, length, level);
  return deflated.empty() ? deflated : util::UpperHex(deflated).substr(kHeaderDigits);
}

std::string decompress_string(const std::string& hex) {
  // Every level writes a header of its own, but none of them matters for inflating.
  return Inflate(util::FromHex(kHeader + hex));
}
