#pragma once

#include <filesystem>
#include <memory>

struct ssl_ctx_st;

namespace emulator {

struct FreeSslContext {
  void operator()(ssl_ctx_st* context) const;
};
using SslContext = std::unique_ptr<ssl_ctx_st, FreeSslContext>;

// A TLS server context with a fresh certificate for the service's hosts and the local host, signed
// by a CA whose certificate stands in `ca_file` afterwards. With a `ca_key_file`, a CA that is
// there already is used again and a new one is kept; processes may do so at the same time. Throws
// std::runtime_error.
SslContext MakeServerContext(const std::filesystem::path& ca_file,
                             const std::filesystem::path& ca_key_file);

}  // namespace emulator
