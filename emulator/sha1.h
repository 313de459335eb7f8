#pragma once

#include <memory>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace emulator {

// SHA-1 of bytes that arrive piece by piece.
class Sha1 {
 public:
  Sha1();

  void Update(std::string_view bytes);

  // 40 lower-case hex digits. The object is used up.
  std::string HexDigest();

 private:
  struct Free {
    void operator()(evp_md_ctx_st* context) const;
  };
  std::unique_ptr<evp_md_ctx_st, Free> context_;
};

}  // namespace emulator
