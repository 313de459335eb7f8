#include "util/base64.h"

#include <openssl/bio.h>
#include <openssl/evp.h>

#include <memory>
#include <new>

#include "util/free_with.h"

namespace util {

std::string Base64Encode(const std::string& bytes) {
  using Stream = std::unique_ptr<BIO, FreeWith<BIO_free>>;
  const Stream filter(BIO_new(BIO_f_base64()));
  const Stream sink(BIO_new(BIO_s_mem()));
  if (!filter || !sink) throw std::bad_alloc();
  BIO_set_flags(filter.get(), BIO_FLAGS_BASE64_NO_NL);
  BIO_push(filter.get(), sink.get());
  std::size_t written = 0;
  const bool complete =
      bytes.empty() || BIO_write_ex(filter.get(), bytes.data(), bytes.size(), &written) == 1;
  if (!complete || written != bytes.size() || BIO_flush(filter.get()) != 1) throw std::bad_alloc();
  char* text = nullptr;
  const long length = BIO_get_mem_data(sink.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

}  // namespace util
