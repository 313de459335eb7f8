#include "emulator/gzip.h"

#include <zlib.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>

namespace emulator {
namespace {

constexpr size_t kUnit = size_t{1} << 20;
constexpr std::string_view kHeader{"\x1F\x8B\x08\0\0\0\0\0\0\xFF", 10};

// With Z_FULL_FLUSH the result refers to nothing before it and ends with a byte, so that it may
// stand anywhere in a stream, and more than once.
std::string Deflate(std::string text, int flush) {
  z_stream stream{};
  constexpr int kWithoutWrapper = -15;
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, kWithoutWrapper, 9,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::runtime_error("zlib cannot compress");
  }
  constexpr size_t kMarkers = 16;
  std::string packed(deflateBound(&stream, text.size()) + kMarkers, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(text.data());
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, flush);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

std::string LittleEndian(uint64_t number) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift & 0xFF);
  return bytes;
}

// The pieces of one gzip file, and the checksum of what they unpack to.
class Gzip {
 public:
  Gzip() { content_->Append(*Content::FromText(kHeader), 0, kHeader.size()); }

  void Append(const std::string& text, int flush, uint64_t times = 1) {
    const ContentPtr packed = Content::FromText(Deflate(text, flush));
    const uLong sum = crc32(0, reinterpret_cast<const Bytef*>(text.data()), uInt(text.size()));
    for (uint64_t i = 0; i < times; ++i) {
      content_->Append(*packed, 0, packed->size());
      sum_ = crc32_combine(sum_, sum, static_cast<z_off_t>(text.size()));
    }
    size_ += times * text.size();
  }

  ContentPtr Finish() {
    const std::string trailer = LittleEndian(sum_) + LittleEndian(size_);
    content_->Append(*Content::FromText(trailer), 0, trailer.size());
    return content_;
  }

 private:
  std::shared_ptr<Content> content_ = std::make_shared<Content>();
  uLong sum_ = 0;
  uint64_t size_ = 0;
};

}  // namespace

ContentPtr GzipOfBlanks(uint64_t size) {
  const uint64_t blanks = size - 2;
  Gzip gzip;
  gzip.Append("{", Z_FULL_FLUSH);
  gzip.Append(std::string(kUnit, ' '), Z_FULL_FLUSH, blanks / kUnit);
  gzip.Append(std::string(blanks % kUnit, ' ') + "}", Z_FINISH);
  return gzip.Finish();
}

}  // namespace emulator
