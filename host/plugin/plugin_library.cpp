#include "host/plugin/plugin_library.h"

#include <dlfcn.h>

#include <vector>

#include "host/plugin/service_failure.h"

// The plug-in keeps a queue's address and never calls it, so this host's queue has no content.
class IAsyncQ {};

namespace b2drive {
namespace {

IAsyncQ queue;

std::string LoaderMessage() {
  const char* message = dlerror();
  return message != nullptr ? message : "unknown reason";
}

std::string ReadForm(AERROR (*get)(char*, int*)) {
  int size = 0;
  get(nullptr, &size);
  std::vector<char> text(static_cast<std::size_t>(size) + 1);
  size = static_cast<int>(text.size());
  AERROR code = get(text.data(), &size);
  if (code != AERROR::SUCCESS) throw ServiceFailure("the plug-in's form", code, {}).About("");
  return {text.data(), static_cast<std::size_t>(size)};
}

}  // namespace

template <typename Function>
Function PluginLibrary::Resolve(const char* name) const {
  void* symbol = dlsym(library_.get(), name);
  if (symbol == nullptr) {
    throw HostError(ExitCode::kNoPlugin,
                    "the library " + file_ + " is no plug-in: it has no function " + name);
  }
  return reinterpret_cast<Function>(symbol);
}

PluginLibrary::PluginLibrary(const std::filesystem::path& file, ILog& log)
    : file_(file.string()),
      library_(dlopen(std::filesystem::absolute(file).c_str(), RTLD_NOW | RTLD_LOCAL), dlclose) {
  if (library_ == nullptr) {
    throw HostError(ExitCode::kNoPlugin, "the plug-in cannot be loaded: " + LoaderMessage());
  }
  get_auth_fields_ = Resolve<module_api::GetAuthFields>("GetAuthFields");
  get_opt_fields_ = Resolve<module_api::GetOptFields>("GetOptFields");
  get_protocol_ = Resolve<module_api::GetProtocol>("GetProtocol");
  unbind_queue_ = Resolve<module_api::UnbindAsyncQ>("UnbindAsyncQ");
  unbind_logger_ = Resolve<module_api::UnbindLogger>("UnbindLogger");
  auto bind_logger = Resolve<module_api::BindLogger>("BindLogger");
  auto bind_queue = Resolve<module_api::BindAsyncQ>("BindAsyncQ");
  ReadIdentity();
  bind_logger(&log);
  bind_queue(&queue);
}

void PluginLibrary::ReadIdentity() {
  auto get_supports = Resolve<module_api::GetSupports>("GetSupports");
  auto get_name = Resolve<module_api::GetSupportProtocol>("GetSupportProtocol");
  auto get_version = Resolve<module_api::GetProtocolVersion>("GetProtocolVersion");
  auto free_text = Resolve<module_api::FreeP>("FreeP");
  get_supports();
  char* name = nullptr;
  get_name(&name);
  if (name != nullptr) protocol_name_ = name;
  free_text(name);
  const char* const version = get_version();
  if (version != nullptr) version_ = version;
  if (protocol_name_ != "backblazeb2") {
    throw HostError(ExitCode::kNoPlugin, "the plug-in " + file_ + " serves \"" + protocol_name_ +
                                             "\", b2drive needs a plug-in for backblazeb2");
  }
}

PluginLibrary::~PluginLibrary() {
  unbind_queue_();
  unbind_logger_();
}

std::string PluginLibrary::AccountForm() const { return ReadForm(get_auth_fields_); }

std::string PluginLibrary::OptionForm() const { return ReadForm(get_opt_fields_); }

ProtocolPtr PluginLibrary::MakeProtocol(IProtocolManager& manager) const {
  void* protocol = nullptr;
  if (!get_protocol_("b2drive", &manager, &protocol) || protocol == nullptr) {
    throw HostError(ExitCode::kNoPlugin, "the plug-in " + file_ + " makes no protocol object");
  }
  return ProtocolPtr(static_cast<IProtocol_V2*>(protocol));
}

}  // namespace b2drive
