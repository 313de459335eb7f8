#include "emulator/certificates.h"

#include <fcntl.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "emulator/random.h"

namespace emulator {
namespace {

namespace fs = std::filesystem;

template <auto kFree>
struct Free {
  template <typename Object>
  void operator()(Object* object) const {
    kFree(object);
  }
};
using PrivateKey = std::unique_ptr<EVP_PKEY, Free<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Free<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Free<X509_EXTENSION_free>>;
using Bytes = std::unique_ptr<BIO, Free<BIO_free>>;
using File = std::unique_ptr<std::FILE, Free<std::fclose>>;

constexpr long kLifeSeconds = 10L * 365 * 24 * 3600;
constexpr const char* kHosts =
    "DNS:api.backblazeb2.com,DNS:*.backblazeb2.com,DNS:localhost,IP:127.0.0.1,IP:::1";

struct Authority {
  Certificate certificate;
  PrivateKey key;
};

void Require(bool done, const char* what) {
  if (!done) throw std::runtime_error(std::string("OpenSSL cannot ") + what);
}

void AddExtension(X509* certificate, X509* issuer, int kind, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value));
  Require(extension && X509_add_ext(certificate, extension.get(), -1) == 1, "add an extension");
}

// An unsigned certificate whose issuer is still to be set.
Certificate NewCertificate(EVP_PKEY* key, const char* common_name) {
  Certificate certificate(X509_new());
  X509* const raw = certificate.get();
  uint64_t serial = 0;
  RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial);
  ASN1_INTEGER_set_uint64(X509_get_serialNumber(raw), serial >> 1);
  X509_set_version(raw, X509_VERSION_3);
  // Clients' clocks may be a little behind.
  X509_gmtime_adj(X509_getm_notBefore(raw), -3600);
  X509_gmtime_adj(X509_getm_notAfter(raw), kLifeSeconds);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(raw), "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(common_name), -1, -1, 0);
  Require(X509_set_pubkey(raw, key) == 1, "set a public key");
  return certificate;
}

PrivateKey NewKey() {
  PrivateKey key(EVP_EC_gen("P-256"));
  Require(key != nullptr, "make a key");
  return key;
}

Authority NewAuthority() {
  Authority ca{nullptr, NewKey()};
  const std::string name = "b2emulator test CA " + RandomHex(8);
  ca.certificate = NewCertificate(ca.key.get(), name.c_str());
  X509* const raw = ca.certificate.get();
  X509_set_issuer_name(raw, X509_get_subject_name(raw));
  AddExtension(raw, raw, NID_basic_constraints, "critical,CA:TRUE");
  AddExtension(raw, raw, NID_key_usage, "critical,keyCertSign,cRLSign");
  AddExtension(raw, raw, NID_subject_key_identifier, "hash");
  Require(X509_sign(raw, ca.key.get(), EVP_sha256()) > 0, "sign the CA");
  return ca;
}

Certificate NewLeaf(EVP_PKEY* key, const Authority& ca, const std::string& hosts) {
  Certificate leaf = NewCertificate(key, "api.backblazeb2.com");
  X509* const raw = leaf.get();
  X509_set_issuer_name(raw, X509_get_subject_name(ca.certificate.get()));
  AddExtension(raw, ca.certificate.get(), NID_basic_constraints, "critical,CA:FALSE");
  AddExtension(raw, ca.certificate.get(), NID_key_usage, "critical,digitalSignature");
  AddExtension(raw, ca.certificate.get(), NID_ext_key_usage, "serverAuth");
  AddExtension(raw, ca.certificate.get(), NID_subject_key_identifier, "hash");
  AddExtension(raw, ca.certificate.get(), NID_authority_key_identifier, "keyid");
  AddExtension(raw, ca.certificate.get(), NID_subject_alt_name, hosts.c_str());
  Require(X509_sign(raw, ca.key.get(), EVP_sha256()) > 0, "sign the certificate");
  return leaf;
}

std::string Contents(BIO* bio) {
  char* data = nullptr;
  const long size = BIO_get_mem_data(bio, &data);
  return {data, static_cast<size_t>(size)};
}

// Others see either nothing or the whole file.
void WriteWhole(const fs::path& path, const std::string& text, mode_t mode) {
  if (fs::exists(path) && !fs::is_regular_file(path)) {  // a device would give way to a file
    throw std::runtime_error(path.string() + ": is no regular file");
  }
  const fs::path temporary = path.string() + "." + RandomHex(8);
  const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  const bool written =
      fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  if (fd >= 0) close(fd);
  if (!written || std::rename(temporary.c_str(), path.c_str()) != 0) {
    unlink(temporary.c_str());
    throw std::runtime_error("cannot write " + path.string());
  }
}

void Save(const Authority& ca, const fs::path& ca_file, const fs::path& ca_key_file) {
  const Bytes text(BIO_new(BIO_s_mem()));
  if (!ca_key_file.empty()) {
    Require(PEM_write_bio_PrivateKey(text.get(), ca.key.get(), nullptr, nullptr, 0, nullptr,
                                     nullptr) == 1,
            "write a key");
    WriteWhole(ca_key_file, Contents(text.get()), 0600);
    BIO_reset(text.get());
  }
  Require(PEM_write_bio_X509(text.get(), ca.certificate.get()) == 1, "write a certificate");
  WriteWhole(ca_file, Contents(text.get()), 0644);
}

Authority Load(const fs::path& ca_file, const fs::path& ca_key_file) {
  const File certificate(std::fopen(ca_file.c_str(), "re"));
  const File key(std::fopen(ca_key_file.c_str(), "re"));
  if (!certificate || !key) throw std::runtime_error("cannot read the CA's files");
  Authority ca{Certificate(PEM_read_X509(certificate.get(), nullptr, nullptr, nullptr)),
               PrivateKey(PEM_read_PrivateKey(key.get(), nullptr, nullptr, nullptr))};
  if (!ca.certificate || !ca.key ||
      X509_check_private_key(ca.certificate.get(), ca.key.get()) != 1) {
    throw std::runtime_error(ca_file.string() + " and " + ca_key_file.string() +
                             " are not a certificate and its key");
  }
  return ca;
}

// Held while it is found out whether a CA exists, so that two processes do not both make one.
class FileLock {
 public:
  explicit FileLock(const fs::path& path)
      : fd_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    if (fd_ < 0 || flock(fd_, LOCK_EX) != 0) {
      throw std::runtime_error("cannot lock " + path.string());
    }
  }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  ~FileLock() { close(fd_); }

 private:
  int fd_;
};

Authority FindOrMakeAuthority(const fs::path& ca_file, const fs::path& ca_key_file) {
  if (ca_key_file.empty()) {
    Authority ca = NewAuthority();
    Save(ca, ca_file, ca_key_file);
    return ca;
  }
  const FileLock lock(ca_key_file.string() + ".lock");
  if (fs::exists(ca_file) && fs::exists(ca_key_file)) return Load(ca_file, ca_key_file);
  Authority ca = NewAuthority();
  Save(ca, ca_file, ca_key_file);
  return ca;
}

}  // namespace

void CopyWhole(const fs::path& from, const fs::path& to) {
  std::ifstream file(from, std::ios::binary);
  WriteWhole(to, {std::istreambuf_iterator<char>(file), {}}, 0644);
}

void FreeSslContext::operator()(ssl_ctx_st* context) const { SSL_CTX_free(context); }

SslContext MakeServerContext(const fs::path& ca_file, const fs::path& ca_key_file,
                             const std::vector<std::string>& hosts) {
  const Authority ca = FindOrMakeAuthority(ca_file, ca_key_file);
  const PrivateKey key = NewKey();
  std::string all_hosts = kHosts;
  for (const std::string& host : hosts) all_hosts += "," + host;
  const Certificate leaf = NewLeaf(key.get(), ca, all_hosts);
  SslContext context(SSL_CTX_new(TLS_server_method()));
  Require(context != nullptr, "make a TLS context");
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  SSL_CTX_set_options(context.get(), SSL_OP_IGNORE_UNEXPECTED_EOF);
  // Without read-ahead every record takes two reads from the socket.
  SSL_CTX_set_read_ahead(context.get(), 1);
  SSL_CTX_set_default_read_buffer_len(context.get(), size_t{128} * 1024);
  Require(SSL_CTX_use_certificate(context.get(), leaf.get()) == 1 &&
              SSL_CTX_use_PrivateKey(context.get(), key.get()) == 1,
          "use the certificate");
  return context;
}

}  // namespace emulator
