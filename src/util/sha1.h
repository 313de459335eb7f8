#pragma once

#include <openssl/evp.h>

#include <cstddef>
#include <memory>
#include <string>

#include "util/free_with.h"

namespace util {

// SHA-1 of bytes that come piece by piece. Throws std::bad_alloc where OpenSSL refuses.
class Sha1 {
 public:
  Sha1();

  void Update(const char* data, std::size_t size);
  // 40 lower-case digits for all since the start or the last HexDigest; then it starts again.
  std::string HexDigest();
  void Restart();

 private:
  std::unique_ptr<EVP_MD_CTX, FreeWith<EVP_MD_CTX_free>> context_;
};

}  // namespace util
