#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

struct evp_md_ctx_st;

namespace b2drive {

// SHA-1 of bytes that come piece by piece. Throws std::bad_alloc where OpenSSL refuses.
class Sha1 {
 public:
  Sha1();

  void Restart();
  void Update(const char* data, std::size_t size);
  // 40 lower-case digits for all since the start; nothing may follow but Restart.
  std::string HexDigest();

 private:
  struct Free {
    void operator()(evp_md_ctx_st* context) const;
  };
  std::unique_ptr<evp_md_ctx_st, Free> context_;
};

// Of the first `size` bytes of a file, or as many as there are. Throws FsError.
std::string Sha1Of(int fd, std::uint64_t size);

}  // namespace b2drive
