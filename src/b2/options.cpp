#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_records.h"
#include "b2/guarded.h"
#include "b2/request_pool.h"
#include "base/numbers.h"
#include "http/server_trust.h"
#include "protocol/log.h"

namespace {

constexpr long long kKilobyte = 1024;
constexpr long long kMostPartBytes = 5'000'000'000;
constexpr long long kMostConnections = 32;

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

void ReadAccountJson(Options& options, const char* value) {
  JsonObject document(value);
  options.account_id = static_cast<std::string>(document.GetObject("/data/user"));
  options.application_key = static_cast<std::string>(document.GetObject("/data/pwd"));
}

void ReadFormField(Options& options, const std::string& name, JsonObject value) {
  if (name == "proxy") cq.SetProxy(ProxyFrom(value));
  if (name == "enable_delete_folder") options.enable_delete_folder = value;
  // Kilobytes here, bytes under the plain key of the same name: the form's caption says KB/s.
  if (name == "speedlimit")
    options.speed_limit = Bytes(std::stoll(static_cast<std::string>(value)));
}

void ReadForm(Options& options, const char* value) {
  JsonObject document(value);
  JsonObject values = Required(document, "values");
  for (const std::string& name : values.GetKeys()) {
    JsonObject field = values[name.c_str()];
    ReadFormField(options, name, Required(field, "value"));
  }
}

void ReadVerbose(Options& options, const char* value) {
  options.query_logger.reset();
  if (strcasecmp(value, "on") == 0) options.query_logger = std::make_shared<BodyLog>();
}

// The number that a text is; out of range, it is ignored with a line.
template <auto member, long long kMost>
void SetNumber(Options& options, const char* value) {
  const std::string_view text = value;
  const auto number = base::ParseNumber<long long>(text);
  if (number && *number >= 1 && *number <= kMost) {
    options.*member = static_cast<std::remove_cvref_t<decltype(options.*member)>>(*number);
  } else {
    __LOG__A(logger, LOGLEVEL_WARNING, "[PROTOCOL  ] SetOpt >> [%s] is not from 1 to %lld", value,
             kMost);
  }
}

void ReadVerify(Options& options, const char* value) {
  options.hash_before = strcasecmp(value, "before") == 0;
  options.verify_uploads = options.hash_before || IsTrue(value);
}

void ReadServerCopy(Options& options, const char* value) {
  options.copy_only = strcasecmp(value, "keep") == 0;
  options.server_copy = options.copy_only || IsTrue(value);
}

void ReadView(Options& options, const char* value) {
  constexpr std::pair<const char*, View> views[] = {
      {"files", View::kFiles}, {"versions", View::kVersions}, {"unfinished", View::kUnfinished}};
  for (const auto& [name, view] : views) {
    if (strcasecmp(value, name) != 0) continue;
    options.view = view;
    return;
  }
  __LOG__A(logger, LOGLEVEL_WARNING, "[PROTOCOL  ] SetOpt >> There is no view [%s]", value);
}

struct Option {
  const char* key;
  void (*apply)(Options& options, const char* value);
};

template <auto member>
void SetText(Options& options, const char* value) {
  options.*member = value;
}

template <auto member>
void SetSwitch(Options& options, const char* value) {
  options.*member = IsTrue(value);
}

constexpr Option kOptions[] = {
    {"access_key", SetText<&Options::account_id>},
    {"application_key", SetText<&Options::application_key>},
    {"ca_file", [](Options&, const char* value) { TrustAlso(value); }},
    {"cancel_failed_uploads", SetSwitch<&Options::cancel_failed_uploads>},
    {"connect_info", ReadAccountJson},
    {"copy_connections", SetNumber<&Options::copy_connections, kMostConnections>},
    {"copy_part_size", SetNumber<&Options::copy_part_size, kMostPartBytes>},
    {"delete_if_unchanged", SetSwitch<&Options::delete_if_unchanged>},
    {"enable_delete_folder", SetSwitch<&Options::enable_delete_folder>},
    {"exact_delete", SetSwitch<&Options::exact_delete>},
    {"file_details", SetSwitch<&Options::file_details>},
    {"find_by_name", SetSwitch<&Options::find_by_name>},
    {"hide_on_delete", SetSwitch<&Options::hide_on_delete>},
    {"keep_times", SetSwitch<&Options::keep_times>},
    {"low_speed_limit",
     [](Options& options, const char* value) {
       options.low_speed_limit = std::max(1L, std::strtol(value, nullptr, 10));
     }},
    {"option_fields", ReadForm},
    {"server_copy", ReadServerCopy},
    {"resume_uploads", SetSwitch<&Options::resume_uploads>},
    {"reuse_upload_urls", SetSwitch<&Options::reuse_upload_urls>},
    {"speedlimit",
     [](Options& options, const char* value) {
       options.speed_limit = std::strtoll(value, nullptr, 10);
     }},
    {"strict_answers", SetSwitch<&Options::strict_answers>},
    {"upload_connections", SetNumber<&Options::upload_connections, kMostConnections>},
    {"upload_part_size", SetNumber<&Options::upload_part_size, kMostPartBytes>},
    {"upload_part_size_max", SetNumber<&Options::upload_part_size_max, kMostPartBytes>},
    {"verbose", ReadVerbose},
    {"verify_uploads", ReadVerify},
    {"view", ReadView},
    {"view_name", SetText<&Options::view_name>},
};

}  // namespace

AERROR BackBlazeB2::SetOpt(const char* key, const char* value) {
  if (key == nullptr || value == nullptr) return AERROR::SUCCESS;
  return Guarded(AERROR::SUCCESS, [&] {
    for (const Option& option : kOptions) {
      if (strcasecmp(option.key, key) != 0) continue;
      options_.Change([&](Options& options) { option.apply(options, value); });
    }
    return AERROR::SUCCESS;
  });
}
