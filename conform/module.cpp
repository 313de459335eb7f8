#include "conform/module.h"

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>

#include "conform/service.h"

namespace conform {

Module::Module(const std::string& file)
    : handle_(dlopen(file.empty() ? TheSettings().plugin.c_str() : file.c_str(),
                     RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) throw std::runtime_error(dlerror());
}

Module::~Module() { dlclose(handle_); }

void* Module::Find(const char* symbol) const { return dlsym(handle_, symbol); }

void* Module::Need(const char* symbol) const {
  void* const found = Find(symbol);
  if (found == nullptr) throw std::runtime_error(std::string("the module has no ") + symbol);
  return found;
}

Object Module::NewObject(IProtocolManager* manager) const {
  void* object = nullptr;
  if (!Get<module_api::GetProtocol>("GetProtocol")("kit", manager, &object)) {
    throw std::runtime_error("GetProtocol gives no object");
  }
  return Object(static_cast<IProtocol_V2*>(object));
}

bool Module::BindLogger(ILog* log) const { return Get<module_api::BindLogger>("BindLogger")(log); }

void Module::UnbindLogger() const { Get<module_api::UnbindLogger>("UnbindLogger")(); }

std::string CopyOfModule(const std::string& name) {
  namespace fs = std::filesystem;
  const fs::path copy = fs::path(TheSettings().folder) / (name + ".so");
  fs::copy_file(TheSettings().plugin, copy, fs::copy_options::overwrite_existing);
  return copy.string();
}

}  // namespace conform
