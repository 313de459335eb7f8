#include "http/server_trust.h"

#include <atomic>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "protocol/log.h"
#include "protocol/log_lines.h"
#include "util/ca_store.h"
#include "util/executable_path.h"

namespace {

// Without a slash at its end; empty when the program has none.
const std::string& Directory() {
  static const std::string directory = util::FrameworksDirectory();
  return directory;
}

void WarnOfUnverifiedServers() {
  static std::atomic_flag warned;
  ILog* const log = logger;
  if (log == nullptr || warned.test_and_set()) return;
  __LOG__A(log, LOGLEVEL_WARNING, log_lines::kServersNotVerified);
}

// libcurl's callback for a new TLS context.
CURLcode TrustSharedStore(CURL*, void* context, void*) {
  try {
    return util::ShareCaStore(context, Directory()) ? CURLE_OK : CURLE_SSL_CACERT_BADFILE;
  } catch (...) {
    return CURLE_OUT_OF_MEMORY;
  }
}

// Of a PEM file. Throws when it cannot be read, so that nothing is connected to.
std::string TextOf(const std::string& file) {
  std::ifstream pem(file, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(pem), {}};
  if (text.empty()) throw std::system_error(errno, std::generic_category(), file);
  return text;
}

bool LibcurlTakesSharedStore() {
  const char* tls = curl_version_info(CURLVERSION_NOW)->ssl_version;
  return tls != nullptr && util::IsOwnTlsLibrary(tls);
}

}  // namespace

bool VerifiesServers() {
  const bool verifies = !Directory().empty();
  if (!verifies) WarnOfUnverifiedServers();
  return verifies;
}

void TrustDirectory(const EasyHandle& easy) {
  if (LibcurlTakesSharedStore()) {
    // Otherwise each request object would read the whole bundle for itself.
    easy.Set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    easy.Set(CURLOPT_CAINFO, static_cast<const char*>(nullptr));
    easy.Set(CURLOPT_SSL_CTX_FUNCTION, &TrustSharedStore);
    return;
  }
  easy.Set(CURLOPT_CAPATH, (Directory() + "/").c_str());
  const std::string bundle = Directory() + "/cacert.pem";
  const std::string other = util::AlsoTrusted();
  if (other.empty()) return easy.Set(CURLOPT_CAINFO, bundle.c_str());
  std::string both = TextOf(bundle) + "\n" + TextOf(other);
  curl_blob text{both.data(), both.size(), CURL_BLOB_COPY};
  easy.Set(CURLOPT_CAINFO_BLOB, &text);
}

void TrustAlso(const std::string& file) {
  if (util::TrustAlso(file)) return;
  __LOG__A(logger, LOGLEVEL_ERROR, "[NETWORK   ] No certificates in [%s]: no server is trusted",
           file.c_str());
}
