#include "emulator/sha1.h"

#include <openssl/evp.h>

#include <array>
#include <stdexcept>

#include "base/encodings.h"

namespace emulator {
namespace {

void Require(int result) {
  if (result != 1) throw std::runtime_error("OpenSSL refuses SHA-1");
}

}  // namespace

void Sha1::Free::operator()(evp_md_ctx_st* context) const { EVP_MD_CTX_free(context); }

Sha1::Sha1() : context_(EVP_MD_CTX_new()) {
  Require(EVP_DigestInit_ex(context_.get(), EVP_sha1(), nullptr));
}

void Sha1::Update(std::string_view bytes) {
  Require(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()));
}

std::string Sha1::HexDigest() {
  std::array<unsigned char, 20> digest;
  Require(EVP_DigestFinal_ex(context_.get(), digest.data(), nullptr));
  return base::ToHex({reinterpret_cast<const char*>(digest.data()), digest.size()});
}

}  // namespace emulator
