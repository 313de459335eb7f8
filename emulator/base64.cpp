#include "emulator/base64.h"

#include <openssl/evp.h>

#include <algorithm>

namespace emulator {
namespace {

// Both of OpenSSL's functions take sizes as int. A multiple of 3 and of 4.
constexpr size_t kStep = size_t{3} << 20;

}  // namespace

std::string EncodeBase64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  while (!bytes.empty()) {
    const std::string_view step = bytes.substr(0, kStep);
    std::string encoded((step.size() + 2) / 3 * 4 + 1, '\0');  // with a null byte
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                    reinterpret_cast<const unsigned char*>(step.data()), int(step.size()));
    encoded.pop_back();
    text += encoded;
    bytes.remove_prefix(step.size());
  }
  return text;
}

std::optional<std::string> DecodeBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  const auto padding = static_cast<size_t>(
      std::count(text.end() - std::min<ptrdiff_t>(2, std::ssize(text)), text.end(), '='));
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  while (!text.empty()) {
    const std::string_view step = text.substr(0, kStep);
    std::string decoded(step.size() / 4 * 3, '\0');
    const int length =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(decoded.data()),
                        reinterpret_cast<const unsigned char*>(step.data()), int(step.size()));
    if (length != static_cast<int>(decoded.size())) return std::nullopt;
    bytes += decoded;
    text.remove_prefix(step.size());
  }
  bytes.resize(bytes.size() - padding);
  return bytes;
}

}  // namespace emulator
