#include "emulator/link_bio.h"

#include <openssl/bio.h>

#include <memory>

namespace emulator {
namespace {

struct FreeMethod {
  void operator()(BIO_METHOD* method) const { BIO_meth_free(method); }
};
using Method = std::unique_ptr<BIO_METHOD, FreeMethod>;

Link& LinkOf(BIO* bio) { return *static_cast<Link*>(BIO_get_data(bio)); }

int Read(BIO* bio, char* data, size_t size, size_t* got) {
  *got = LinkOf(bio).Read(data, size);
  return *got > 0 ? 1 : 0;
}

int Write(BIO* bio, const char* data, size_t size, size_t* written) {
  if (!LinkOf(bio).Write({data, size})) return 0;
  *written = size;
  return 1;
}

// The only command that matters here: everything has gone to the link already.
long Control(BIO*, int command, long, void*) { return command == BIO_CTRL_FLUSH ? 1 : 0; }

Method MakeMethod() {
  Method method(BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "link"));
  if (method) {
    BIO_meth_set_read_ex(method.get(), Read);
    BIO_meth_set_write_ex(method.get(), Write);
    BIO_meth_set_ctrl(method.get(), Control);
  }
  return method;
}

}  // namespace

bio_st* NewLinkBio(Link& link) {
  static const Method method = MakeMethod();
  BIO* const bio = method ? BIO_new(method.get()) : nullptr;
  if (bio == nullptr) return nullptr;
  BIO_set_data(bio, &link);
  BIO_set_init(bio, 1);
  return bio;
}

}  // namespace emulator
