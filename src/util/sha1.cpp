#include "util/sha1.h"

#include <new>

#include "util/hex.h"

namespace util {
namespace {

void Require(int done) {
  if (done != 1) throw std::bad_alloc();
}

}  // namespace

Sha1::Sha1() : context_(EVP_MD_CTX_new()) { Restart(); }

void Sha1::Restart() {
  Require(context_ ? EVP_DigestInit_ex(context_.get(), EVP_sha1(), nullptr) : 0);
}

void Sha1::Update(const char* data, std::size_t size) {
  Require(EVP_DigestUpdate(context_.get(), data, size));
}

std::string Sha1::HexDigest() {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  Require(EVP_DigestFinal_ex(context_.get(), digest, &size));
  Restart();
  return LowerHex(std::string(reinterpret_cast<const char*>(digest), size));
}

}  // namespace util
