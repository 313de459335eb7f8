#include "tests/support/plugin.h"

#include <dlfcn.h>

#include <stdexcept>

std::string Plugin::File() { return B2_PLUGIN_FILE; }

// Globally, as the least careful host would: modules must not see each other's symbols even so.
Plugin::Plugin(const std::string& file) : handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_GLOBAL)) {
  if (handle_ == nullptr) throw std::runtime_error(dlerror());
}

Plugin::~Plugin() { dlclose(handle_); }

void* Plugin::Symbol(const char* symbol) const {
  void* found = dlsym(handle_, symbol);
  if (found == nullptr) throw std::runtime_error(std::string("no symbol ") + symbol);
  return found;
}

IProtocol_V2* Plugin::NewProtocol(IProtocolManager* manager) const {
  void* protocol = nullptr;
  if (!Get<module_api::GetProtocol>("GetProtocol")("test", manager, &protocol)) {
    throw std::runtime_error("no protocol object");
  }
  return static_cast<IProtocol_V2*>(protocol);
}
