#include "host/local/sha1.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <new>
#include <vector>

#include "host/local/local_io.h"

namespace b2drive {
namespace {

void Require(int done) {
  if (done != 1) throw std::bad_alloc();
}

}  // namespace

void Sha1::Free::operator()(evp_md_ctx_st* context) const { EVP_MD_CTX_free(context); }

Sha1::Sha1() : context_(EVP_MD_CTX_new()) { Restart(); }

void Sha1::Restart() {
  Require(context_ ? EVP_DigestInit_ex(context_.get(), EVP_sha1(), nullptr) : 0);
}

void Sha1::Update(const char* data, std::size_t size) {
  Require(EVP_DigestUpdate(context_.get(), data, size));
}

std::string Sha1::HexDigest() {
  constexpr char kDigits[] = "0123456789abcdef";
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  Require(EVP_DigestFinal_ex(context_.get(), digest.data(), &size));
  std::string text;
  for (unsigned int i = 0; i < size; ++i) {
    text += kDigits[digest[i] >> 4];
    text += kDigits[digest[i] & 0xF];
  }
  return text;
}

std::string Sha1Of(int fd, std::uint64_t size) {
  constexpr std::uint64_t kPiece = 256UL * 1024;
  std::vector<char> buffer(kPiece);
  Sha1 sha1;
  for (std::uint64_t at = 0; at < size;) {
    const std::size_t got = ReadAt(fd, buffer.data(), std::min(kPiece, size - at), at);
    if (got == 0) break;
    sha1.Update(buffer.data(), got);
    at += got;
  }
  return sha1.HexDigest();
}

}  // namespace b2drive
