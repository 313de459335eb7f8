#include "util/ca_store.h"

#include <openssl/err.h>
#include <openssl/opensslv.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <filesystem>
#include <memory>
#include <system_error>

#include "base/thread_safety.h"
#include "util/free_with.h"

namespace util {

namespace {

using Store = std::unique_ptr<X509_STORE, FreeWith<X509_STORE_free>>;

struct SharedStore {
  base::Mutex mutex;
  Store store B2_GUARDED_BY(mutex);
  std::filesystem::file_time_type written B2_GUARDED_BY(mutex);  // when the store's file was
};

Store ReadStore(const std::string& file, const std::string& directory) {
  Store store(X509_STORE_new());
  if (!store || X509_STORE_load_locations(store.get(), file.c_str(), directory.c_str()) != 1) {
    ERR_clear_error();
    return nullptr;
  }
  // As libcurl verifies: a trusted intermediate ends the chain.
  X509_STORE_set_flags(store.get(), X509_V_FLAG_TRUSTED_FIRST | X509_V_FLAG_PARTIAL_CHAIN);
  return store;
}

}  // namespace

bool IsOwnTlsLibrary(const std::string& name_and_version) {
#ifdef LIBRESSL_VERSION_NUMBER
  return false;
#else
  return name_and_version.starts_with("OpenSSL/" + std::to_string(OPENSSL_VERSION_MAJOR) + ".");
#endif
}

bool ShareCaStore(void* context, const std::string& directory) {
  static SharedStore shared;  // made after the TLS library has been set up, gone before it is
  const std::string file = directory + "/cacert.pem";
  std::error_code missing;
  const auto written = std::filesystem::last_write_time(file, missing);

  const base::Lock lock(shared.mutex);
  if (!shared.store || written != shared.written) {
    shared.store = ReadStore(file, directory);
    shared.written = written;
  }
  if (!shared.store) return false;
  SSL_CTX_set1_cert_store(static_cast<SSL_CTX*>(context), shared.store.get());
  return true;
}

}  // namespace util
