#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string>

#include "b2/backblaze_b2.h"
#include "b2/file_records.h"
#include "b2/guarded.h"
#include "b2/request_pool.h"

namespace {

constexpr long long kKilobyte = 1024;

bool IsTrue(const char* value) { return strcasecmp(value, "true") == 0; }

// Kilobytes to bytes, held within 64 bits.
long long Bytes(long long kilobytes) {
  constexpr long long most = std::numeric_limits<long long>::max() / kKilobyte;
  return std::min(std::max(kilobytes, -most), most) * kKilobyte;
}

_PROXYINFO ProxyFrom(JsonObject& value) {
  _PROXYINFO proxy;
  proxy.type = static_cast<std::string>(Required(value, "type"));
  proxy.host = static_cast<std::string>(Required(value, "host"));
  proxy.port = std::to_string(static_cast<int>(Required(value, "port")));
  proxy.user = static_cast<std::string>(Required(value, "user"));
  proxy.password = static_cast<std::string>(Required(value, "password"));
  return proxy;
}

}  // namespace

struct BackBlazeB2::Option {
  const char* key;
  void (*apply)(BackBlazeB2& protocol, const char* value);
};

AERROR BackBlazeB2::SetOpt(const char* key, const char* value) {
  static constexpr Option kOptions[] = {
      {"access_key", [](BackBlazeB2& b2, const char* text) { b2.account_id_ = text; }},
      {"application_key", [](BackBlazeB2& b2, const char* text) { b2.application_key_ = text; }},
      {"connect_info", [](BackBlazeB2& b2, const char* text) { b2.ApplyAccountJson(text); }},
      {"delete_if_unchanged",
       [](BackBlazeB2& b2, const char* text) { b2.delete_if_unchanged_ = IsTrue(text); }},
      {"enable_delete_folder",
       [](BackBlazeB2& b2, const char* text) { b2.enable_delete_folder_ = IsTrue(text); }},
      {"exact_delete", [](BackBlazeB2& b2, const char* text) { b2.exact_delete_ = IsTrue(text); }},
      {"low_speed_limit",
       [](BackBlazeB2& b2, const char* text) {
         b2.low_speed_limit_ = std::max(1L, std::strtol(text, nullptr, 10));
       }},
      {"option_fields", [](BackBlazeB2& b2, const char* text) { b2.ApplyOptionForm(text); }},
      {"speedlimit", [](BackBlazeB2& b2,
                        const char* text) { b2.speed_limit_ = std::strtoll(text, nullptr, 10); }},
      {"strict_answers",
       [](BackBlazeB2& b2, const char* text) { b2.strict_answers_ = IsTrue(text); }},
      {"verbose",
       [](BackBlazeB2& b2, const char* text) {
         b2.query_logger_.reset();
         if (strcasecmp(text, "on") == 0) b2.query_logger_ = std::make_shared<BodyLog>();
       }},
  };
  if (key == nullptr || value == nullptr) return AERROR::SUCCESS;
  return Guarded(AERROR::SUCCESS, [&] {
    for (const Option& option : kOptions) {
      if (strcasecmp(option.key, key) == 0) option.apply(*this, value);
    }
    return AERROR::SUCCESS;
  });
}

void BackBlazeB2::ApplyAccountJson(const char* value) {
  JsonObject document(value);
  account_id_ = static_cast<std::string>(document.GetObject("/data/user"));
  application_key_ = static_cast<std::string>(document.GetObject("/data/pwd"));
}

void BackBlazeB2::ApplyOptionForm(const char* value) {
  JsonObject document(value);
  JsonObject values = Required(document, "values");
  for (const std::string& name : values.GetKeys()) {
    JsonObject field = values[name.c_str()];
    ApplyOptionField(name, Required(field, "value"));
  }
}

void BackBlazeB2::ApplyOptionField(const std::string& name, JsonObject value) {
  if (name == "proxy") cq.SetProxy(ProxyFrom(value));
  if (name == "enable_delete_folder") enable_delete_folder_ = value;
  // Kilobytes here, bytes under the plain key of the same name: the form's caption says KB/s.
  if (name == "speedlimit") speed_limit_ = Bytes(std::stoll(static_cast<std::string>(value)));
}
