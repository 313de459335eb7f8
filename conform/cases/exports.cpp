#include <cstring>

#include "conform/cases.h"
#include "conform/drive.h"

// What a host resolves by name.
namespace conform {
namespace {

// In alphabetical order: functions, functions under decorated names, data.
constexpr const char* kSymbols[] = {"BindAsyncQ",
                                    "BindLogger",
                                    "FreeP",
                                    "GetAuthFields",
                                    "GetAuthType",
                                    "GetOptFields",
                                    "GetProtocol",
                                    "GetProtocolVersion",
                                    "GetSupportProtocol",
                                    "GetSupports",
                                    "UnbindAsyncQ",
                                    "UnbindLogger",
                                    "_Z6OnLoadv",
                                    "aq",
                                    "cq",
                                    "ext_dict",
                                    "logger",
                                    "protocol_version",
                                    "_Z10GetAERRORA6AERROR",
                                    "_Z13ConvertAERROR6AERROR"};

void FindsSymbols() {
  const Module module;
  for (const char* symbol : kSymbols) True(symbol, module.Find(symbol) != nullptr);
  module.Get<module_api::OnLoad>(module_api::kOnLoadSymbol)();
}

void DescribesItself() {
  const Module module;
  Equal("GetSupports", module.Get<module_api::GetSupports>("GetSupports")(), 3);
  Equal("GetAuthType", module.Get<module_api::GetAuthType>("GetAuthType")(), 4);
  const auto version = module.Get<module_api::GetProtocolVersion>("GetProtocolVersion");
  Equal("GetProtocolVersion", std::string(version()), "1.0.0");
  True("its text is static", version() == version());
  const auto name = module.Get<module_api::GetSupportProtocol>("GetSupportProtocol");
  const auto free_p = module.Get<module_api::FreeP>("FreeP");
  char *one = nullptr, *other = nullptr;
  char* const result = name(&one);
  name(&other);
  Equal("GetSupportProtocol", std::string(one), "backblazeb2");
  True("its result is what it stores", result == one);
  True("each call gives a text of its own", one != other);
  free_p(one);
  free_p(other);
  free_p(nullptr);
}

void NamesCodes() {
  const Module module;
  const auto name = module.Get<module_api::GetCodeName>(module_api::kGetCodeNameSymbol);
  const auto convert = module.Get<int (*)(AERROR)>("_Z13ConvertAERROR6AERROR");
  for (int value = -2; value < 9000; ++value) {
    const auto code = static_cast<AERROR>(value);
    const std::string what = " of " + std::to_string(value);
    Equal("GetAERRORA" + what, std::string(name(code)), std::string(GetAERRORA(code)));
    Equal("ConvertAERROR" + what, convert(code),
          value == 0                ? 0
          : value == FILE_NOT_FOUND ? -2
                                    : -5);
  }
}

// Lines that a call leaves in a log.
std::size_t LinesOf(const Object& object, KeptLog& log) {
  log.Take();
  Equal("Rename", object->Rename("a", "b", nullptr, nullptr), NOT_SUPPORTED);
  return log.Take().size();
}

void Binds() {
  const Module module;
  const Object object = module.NewObject();
  KeptLog log, other;
  True("a first logger is taken", module.BindLogger(&log));
  True("null is refused", !module.BindLogger(nullptr));
  True("and leaves the logger as it was", LinesOf(object, log) > 0);
  True("another replaces it", module.BindLogger(&other) && LinesOf(object, other) > 0);
  Equal("lines in the one before", LinesOf(object, log), 0);
  module.UnbindLogger();
  Equal("lines in one that is unbound", LinesOf(object, other), 0);
  const auto bind = module.Get<module_api::BindAsyncQ>("BindAsyncQ");
  auto* const queue = reinterpret_cast<IAsyncQ*>(&log);
  True("BindAsyncQ takes a queue", bind(queue));
  True("and refuses null", !bind(nullptr));
  auto** const kept = static_cast<IAsyncQ**>(module.Find("aq"));
  True("which leaves the queue as it was", kept != nullptr && *kept == queue);
  module.Get<module_api::UnbindAsyncQ>("UnbindAsyncQ")();
  True("until it is unbound", kept != nullptr && *kept == nullptr);
}

void MakesObjects() {
  const Module module;
  Manager manager;
  {
    const Object object = module.NewObject(&manager);
    const Object other = module.NewObject();
    True("each call gives another object", object != other);
  }
  Equal("what it asks its manager", manager.asked,
        Texts{"Tervanix3_backblazeb2.dll_3.6.344.0 256"});
  manager.throws = true;
  void* untouched = &manager;
  const auto make = module.Get<module_api::GetProtocol>("GetProtocol");
  True("a manager that throws makes it fail", !make("kit", &manager, &untouched));
  True("and leaves the result as it was", untouched == &manager);
}

void KeepsModulesApart() {
  const std::string copy = CopyOfModule("apart");
  const Module module, second(copy);
  KeptLog log, other;
  module.BindLogger(&log);
  const Object foreign = second.NewObject(), own = module.NewObject();
  Equal("lines of another module", LinesOf(foreign, log), 0);
  second.BindLogger(&other);
  True("its own", LinesOf(own, log) > 0 && LinesOf(foreign, other) > 0);
  module.UnbindLogger();
  second.UnbindLogger();
}

}  // namespace

std::vector<Case> ExportsCases() {
  return {{"exports.symbols", FindsSymbols}, {"exports.identity", DescribesItself},
          {"exports.codes", NamesCodes},     {"exports.binding", Binds},
          {"exports.objects", MakesObjects}, {"exports.two_modules", KeepsModulesApart}};
}

}  // namespace conform
