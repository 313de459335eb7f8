#include "b2/range_hash.h"

#include <vector>

#include "http/transfer_callbacks.h"
#include "util/sha1.h"

std::optional<std::string> HashRange(UploadState state, const Stop& stop) {
  std::vector<char> buffer(std::size_t{128} * 1024);
  util::Sha1 sha1;
  state.offset = state.start;
  state.shown = false;
  while (!stop()) {
    const std::size_t read = read_callback_cache_func(buffer.data(), 1, buffer.size(), &state);
    if (read == CURL_READFUNC_ABORT) return std::nullopt;
    if (read == 0) return sha1.HexDigest();
    sha1.Update(buffer.data(), read);
  }
  return std::nullopt;
}
