#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <new>

#include "toolkit/toolkit.h"
#include "util/hex.h"

namespace {

constexpr std::size_t kDigestSize = 32;

unsigned char* BytesOf(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

const unsigned char* BytesOf(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

std::string sha256(const std::string& data) {
  std::string digest(kDigestSize, '\0');
  if (EVP_Digest(data.data(), data.size(), BytesOf(digest), nullptr, EVP_sha256(), nullptr) != 1) {
    throw std::bad_alloc();
  }
  return digest;
}

std::string sha256_base16(const std::string& data) { return util::LowerHex(sha256(data)); }

std::string hmac(const std::string& key, const std::string& data) {
  std::string digest(kDigestSize, '\0');
  if (HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), BytesOf(data), data.size(),
           BytesOf(digest), nullptr) == nullptr) {
    throw std::bad_alloc();
  }
  return digest;
}

std::string hmacHex(const std::string& key, const std::string& data) {
  return util::LowerHex(hmac(key, data));
}
