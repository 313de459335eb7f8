#include "host/plugin/form_values.h"

#include <nlohmann/json.hpp>

namespace b2drive {
namespace {

using Json = nlohmann::json;

std::string Document(const Json& fields) {
  Json values = Json::object();
  for (const auto& [name, value] : fields.items()) values[name] = {{"value", value}};
  return Json{{"values", values}}.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string AccountFormValues(const Account& account) {
  return Document({{"account_id", account.key_id}, {"application_key", account.key}});
}

std::string OptionFormValues(const _PROXYINFO& proxy) {
  return Document({{"proxy",
                    {{"type", proxy.type},
                     {"host", proxy.host},
                     {"port", std::stoi(proxy.port)},
                     {"user", proxy.user},
                     {"password", proxy.password}}}});
}

}  // namespace b2drive
