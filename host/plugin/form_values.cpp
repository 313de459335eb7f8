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

std::string OptionFormValues(const std::optional<_PROXYINFO>& proxy,
                             const std::optional<long long>& limit_kb) {
  Json fields = Json::object();
  if (proxy) {
    fields["proxy"] = {{"type", proxy->type},
                       {"host", proxy->host},
                       {"port", std::stoi(proxy->port)},
                       {"user", proxy->user},
                       {"password", proxy->password}};
  }
  if (limit_kb) fields["speedlimit"] = std::to_string(*limit_kb);
  return Document(fields);
}

}  // namespace b2drive
