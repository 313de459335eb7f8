#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

struct ssl_ctx_st;

namespace emulator {

struct FreeSslContext {
  void operator()(ssl_ctx_st* context) const;
};
using SslContext = std::unique_ptr<ssl_ctx_st, FreeSslContext>;

// A TLS server context with a fresh certificate for the service's hosts, the local host and
// `hosts`, written as AlternativeName does, signed by a CA whose certificate is in `ca_file`
// afterwards. With a `ca_key_file` the CA is made once and used again, by several processes at the
// same time too. Throws std::runtime_error.
SslContext MakeServerContext(const std::filesystem::path& ca_file,
                             const std::filesystem::path& ca_key_file,
                             const std::vector<std::string>& hosts);

// Copies a small file so that others see nothing or all of it. Throws std::runtime_error.
void CopyWhole(const std::filesystem::path& from, const std::filesystem::path& to);

}  // namespace emulator
