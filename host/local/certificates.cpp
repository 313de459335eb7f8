#include "host/local/certificates.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/x509_vfy.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "host/common/errors.h"
#include "host/common/unique_fd.h"

namespace b2drive {

void RequireCertificates(const std::string& file, const std::string& named_by) {
  const std::string subject = file + ", the certificates of " + named_by;
  const UniqueFd opened(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  char first = 0;
  if (!opened || read(opened.get(), &first, 1) < 0) throw LocalFailure(subject, errno);
  const std::unique_ptr<X509_STORE, void (*)(X509_STORE*)> store(X509_STORE_new(), X509_STORE_free);
  // As the plug-in reads it: none in it, or one that is damaged, and no server would be trusted.
  const bool reads = store && X509_STORE_load_file(store.get(), file.c_str()) == 1;
  ERR_clear_error();
  if (!reads) throw HostError(ExitCode::kLocalFile, subject, "none can be read; give a PEM file");
}

}  // namespace b2drive
