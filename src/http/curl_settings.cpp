#include <atomic>

#include "http/curl_impl.h"
#include "http/transfer_callbacks.h"
#include "protocol/log.h"
#include "protocol/log_lines.h"
#include "util/ca_store.h"
#include "util/executable_path.h"

namespace {

// Looked up once: a directory that vanishes while the module is in use makes connections fail, and
// not the later ones go unverified.
const std::string& TrustedDirectory() {
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
    const bool trusted = util::ShareCaStore(context, TrustedDirectory());
    return trusted ? CURLE_OK : CURLE_SSL_CACERT_BADFILE;
  } catch (...) {
    return CURLE_OUT_OF_MEMORY;
  }
}

bool LibcurlTakesSharedStore() {
  const char* tls = curl_version_info(CURLVERSION_NOW)->ssl_version;
  return tls != nullptr && util::IsOwnTlsLibrary(tls);
}

}  // namespace

void CURLImpl::SetSpeedLimit(long long bytes_per_second) {
  Set(CURLOPT_MAX_SEND_SPEED_LARGE, curl_off_t{bytes_per_second});
  Set(CURLOPT_MAX_RECV_SPEED_LARGE, curl_off_t{bytes_per_second});
}

void CURLImpl::SetLowSpeedTimeout(long seconds) { Set(CURLOPT_LOW_SPEED_TIME, seconds); }

void CURLImpl::SetLowSpeedLimit(long bytes_per_second) {
  Set(CURLOPT_LOW_SPEED_LIMIT, bytes_per_second);
}

void CURLImpl::SetSendBuffer() { Set(CURLOPT_SOCKOPTFUNCTION, &_sockopt_callback); }

void CURLImpl::SetPostFileSize(long long bytes) {
  Set(CURLOPT_INFILESIZE_LARGE, curl_off_t{bytes});
}

void CURLImpl::SetContentDecoding(bool decode) {
  // The empty text asks for every encoding that this libcurl can unpack.
  Set(CURLOPT_ACCEPT_ENCODING, decode ? "" : nullptr);
}

void CURLImpl::SetSeek(curl_seek_callback function, void* data) {
  Set(CURLOPT_SEEKFUNCTION, function);
  Set(CURLOPT_SEEKDATA, data);
}

void CURLImpl::BindHandle(std::shared_ptr<_FS_HANDLE> handle) {
  BindProgress(handle.get(), reinterpret_cast<curl_xferinfo_callback>(&_CURL_PROGRESS));
}

void CURLImpl::BindHandleForDownload(std::shared_ptr<_FS_HANDLE> handle) {
  BindProgress(handle.get(), reinterpret_cast<curl_xferinfo_callback>(&_CURL_PROGRESS_DOWNLOAD));
}

void CURLImpl::BindProgress(const _FS_HANDLE* handle, curl_xferinfo_callback function) {
  if (handle == nullptr) return;
  progress_ = {handle->progress, handle->progress_context, curl_.get()};
  BindProgress(function, &progress_);
}

void CURLImpl::BindProgress(curl_xferinfo_callback function, void* data) {
  Set(CURLOPT_XFERINFOFUNCTION, function);
  Set(CURLOPT_XFERINFODATA, data);
  Set(CURLOPT_NOPROGRESS, 0L);
}

void CURLImpl::SetProxy(int type, std::string host, int port, std::string user,
                        std::string password) {
  if (type == 0 || host.empty()) {
    Set(CURLOPT_PROXY, static_cast<const char*>(nullptr));
    return;
  }
  Set(CURLOPT_PROXY, host.c_str());
  if (type == 1) Set(CURLOPT_PROXYTYPE, static_cast<long>(CURLPROXY_SOCKS4));
  if (type == 2) Set(CURLOPT_PROXYTYPE, static_cast<long>(CURLPROXY_SOCKS5));
  if (type == 3 || type == 4) {
    Set(CURLOPT_HTTPPROXYTUNNEL, type == 3 ? 1L : 0L);
    Set(CURLOPT_PROXYTYPE, static_cast<long>(CURLPROXY_HTTP));
    Set(CURLOPT_PROXYAUTH, CURLAUTH_ANY);
  }
  if (port > 0) Set(CURLOPT_PROXYPORT, static_cast<long>(port));
  if (!user.empty()) {
    if (!password.empty()) user += ":" + password;
    Set(CURLOPT_PROXYUSERPWD, user.c_str());
  }
}

bool CURLImpl::VerifiesServers() {
  const bool verifies = !TrustedDirectory().empty();
  if (!verifies) WarnOfUnverifiedServers();
  return verifies;
}

void CURLImpl::SetSSLDefaults() {
  if (!VerifiesServers()) return;
  const std::string& directory = TrustedDirectory();
  Set(CURLOPT_SSL_VERIFYPEER, 1L);
  Set(CURLOPT_SSL_VERIFYHOST, 2L);
  if (LibcurlTakesSharedStore()) {
    // Otherwise each request object would read the whole bundle for itself.
    Set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    Set(CURLOPT_CAINFO, static_cast<const char*>(nullptr));
    Set(CURLOPT_SSL_CTX_FUNCTION, &TrustSharedStore);
    return;
  }
  Set(CURLOPT_CAPATH, (directory + "/").c_str());
  Set(CURLOPT_CAINFO, (directory + "/cacert.pem").c_str());
}
