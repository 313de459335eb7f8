#include "util/ca_store.h"

#include <openssl/err.h>
#include <openssl/opensslv.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include "base/thread_safety.h"
#include "util/free_with.h"

namespace util {

namespace {

using Store = std::unique_ptr<X509_STORE, FreeWith<X509_STORE_free>>;

struct TrustedFile {
  explicit TrustedFile(std::string name) : path(std::move(name)) {
    std::error_code missing;
    written = std::filesystem::last_write_time(path, missing);
  }
  bool operator==(const TrustedFile&) const = default;

  std::string path;
  std::filesystem::file_time_type written;
};

struct SharedStore {
  base::Mutex mutex;
  Store store B2_GUARDED_BY(mutex);
  std::vector<TrustedFile> files B2_GUARDED_BY(mutex);  // that the store was read from
};

struct AnotherFile {
  base::Mutex mutex;
  std::string path B2_GUARDED_BY(mutex);
};

AnotherFile& TheOther() {
  static AnotherFile file;
  return file;
}

// Null when one of the files cannot be read. `directory` may be empty: none.
Store ReadStore(const std::vector<TrustedFile>& files, const std::string& directory) {
  Store store(X509_STORE_new());
  if (!store) return nullptr;
  bool reads = directory.empty() || X509_STORE_load_path(store.get(), directory.c_str()) == 1;
  for (const TrustedFile& file : files) {
    reads = reads && X509_STORE_load_file(store.get(), file.path.c_str()) == 1;
  }
  ERR_clear_error();
  if (!reads) return nullptr;
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
  std::vector<TrustedFile> files = {TrustedFile(directory + "/cacert.pem")};
  const std::string other = AlsoTrusted();
  if (!other.empty()) files.emplace_back(other);

  const base::Lock lock(shared.mutex);
  if (!shared.store || files != shared.files) {
    shared.store = ReadStore(files, directory);
    shared.files = files;
  }
  if (!shared.store) return false;
  SSL_CTX_set1_cert_store(static_cast<SSL_CTX*>(context), shared.store.get());
  return true;
}

bool TrustAlso(const std::string& file) {
  AnotherFile& other = TheOther();
  const base::Lock lock(other.mutex);
  other.path = file;
  return file.empty() || ReadStore({TrustedFile(file)}, "") != nullptr;
}

std::string AlsoTrusted() {
  AnotherFile& other = TheOther();
  const base::Lock lock(other.mutex);
  return other.path;
}

}  // namespace util
