#pragma once

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "protocol/module.h"
#include "protocol/protocol.h"

// The built library, loaded as a host loads it; unloaded when it goes out of scope.
class Plugin {
 public:
  // Globally, as the least careful host would: modules must not see each other's symbols even so.
  explicit Plugin(const std::string& file = File())
      : handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_GLOBAL)) {
    if (handle_ == nullptr) throw std::runtime_error(dlerror());
  }
  ~Plugin() { dlclose(handle_); }
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  static std::string File() { return B2_PLUGIN_FILE; }

  template <class Function>
  Function Get(const char* symbol) const {
    return reinterpret_cast<Function>(Symbol(symbol));
  }
  void* Symbol(const char* symbol) const {
    void* found = dlsym(handle_, symbol);
    if (found == nullptr) throw std::runtime_error(std::string("no symbol ") + symbol);
    return found;
  }

  IProtocol_V2* NewProtocol(IProtocolManager* manager = nullptr) const {
    void* protocol = nullptr;
    if (!Get<module_api::GetProtocol>("GetProtocol")("test", manager, &protocol)) {
      throw std::runtime_error("no protocol object");
    }
    return static_cast<IProtocol_V2*>(protocol);
  }

 private:
  void* handle_;
};
