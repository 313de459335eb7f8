#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "protocol/module.h"
#include "protocol/protocol.h"

namespace b2drive {

struct ProtocolReleaser {
  void operator()(IProtocol_V2* protocol) const { protocol->Release(); }
};
using ProtocolPtr = std::unique_ptr<IProtocol_V2, ProtocolReleaser>;

// A loaded plug-in, from its first call to its last. Every protocol object must be released, and
// every thread that used one have ended, before it is destroyed: a thread's leftovers would keep
// the library mapped.
class PluginLibrary {
 public:
  // Loads `file` and binds `log`, which must outlive the object. Throws kNoPlugin.
  PluginLibrary(const std::filesystem::path& file, ILog& log);
  ~PluginLibrary();
  PluginLibrary(const PluginLibrary&) = delete;
  PluginLibrary& operator=(const PluginLibrary&) = delete;

  const std::string& protocol_name() const { return protocol_name_; }
  const std::string& version() const { return version_; }

  // The plug-in's descriptions of its account and option forms, JSON.
  std::string AccountForm() const;
  std::string OptionForm() const;

  // A new protocol object. `manager` must outlive it.
  ProtocolPtr MakeProtocol(IProtocolManager& manager) const;

 private:
  template <typename Function>
  Function Resolve(const char* name) const;
  void ReadIdentity();

  std::string file_;
  std::unique_ptr<void, int (*)(void*)> library_;
  std::string protocol_name_;
  std::string version_;
  module_api::GetAuthFields get_auth_fields_ = nullptr;
  module_api::GetOptFields get_opt_fields_ = nullptr;
  module_api::GetProtocol get_protocol_ = nullptr;
  module_api::UnbindAsyncQ unbind_queue_ = nullptr;
  module_api::UnbindLogger unbind_logger_ = nullptr;
};

}  // namespace b2drive
