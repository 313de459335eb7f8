#pragma once

#include <memory>
#include <string>

#include "protocol/module.h"
#include "protocol/protocol.h"

namespace conform {

struct ReleaseObject {
  void operator()(IProtocol_V2* object) const { object->Release(); }
};
using Object = std::unique_ptr<IProtocol_V2, ReleaseObject>;

// The module under test, loaded as a host loads it; unloaded when it goes.
class Module {
 public:
  // Throws std::runtime_error when it cannot be loaded.
  explicit Module(const std::string& file = "");
  ~Module();
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  // Null where there is none.
  void* Find(const char* symbol) const;
  // Throws where there is none.
  template <class Function>
  Function Get(const char* symbol) const {
    return reinterpret_cast<Function>(Need(symbol));
  }

  Object NewObject(IProtocolManager* manager = nullptr) const;
  bool BindLogger(ILog* log) const;
  void UnbindLogger() const;

 private:
  void* Need(const char* symbol) const;

  void* handle_;
};

// Another file of the same module, beside this program: a module of its own to the loader.
std::string CopyOfModule(const std::string& name);

}  // namespace conform
