#pragma once

#include <string>

#include "protocol/module.h"
#include "protocol/protocol.h"

// The built library, loaded as a host loads it; unloaded when it goes out of scope.
class Plugin {
 public:
  explicit Plugin(const std::string& file = File());
  ~Plugin();
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  static std::string File();

  template <class Function>
  Function Get(const char* symbol) const {
    return reinterpret_cast<Function>(Symbol(symbol));
  }
  void* Symbol(const char* symbol) const;  // throws when there is none

  IProtocol_V2* NewProtocol(IProtocolManager* manager = nullptr) const;

 private:
  void* handle_;
};
