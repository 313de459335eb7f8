#include "util/hex.h"

#include <cryptopp/filters.h>
#include <cryptopp/hex.h>

namespace util {

namespace {

std::string Encode(const std::string& bytes, bool upper_case) {
  std::string text;
  const CryptoPP::StringSource source(
      bytes, true, new CryptoPP::HexEncoder(new CryptoPP::StringSink(text), upper_case));
  return text;
}

}  // namespace

std::string UpperHex(const std::string& bytes) { return Encode(bytes, true); }

std::string LowerHex(const std::string& bytes) { return Encode(bytes, false); }

std::string FromHex(const std::string& text) {
  std::string bytes;
  const CryptoPP::StringSource source(text, true,
                                      new CryptoPP::HexDecoder(new CryptoPP::StringSink(bytes)));
  return bytes;
}

}  // namespace util
