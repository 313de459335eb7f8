#include <string>
#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_records.h"
#include "b2/request_pool.h"
#include "http/transfer_callbacks.h"
#include "protocol/log_lines.h"
#include "util/base64.h"

namespace {

constexpr char kServiceUrl[] = "https://" B2_API_HOST;

struct Account {
  std::string& id;
  std::string& key;
};

// Reads the saved account form; throws when it is not one. Fields that it lacks stay.
void ReadAccount(const std::string& form, Account account) {
  JsonObject document(form.c_str());
  JsonObject values = Required(document, "values");
  for (const std::string& name : values.GetKeys()) {
    JsonObject field = values[name.c_str()];
    const std::string value = Required(field, "value");
    if (name == "account_id") account.id = value;
    if (name == "application_key") account.key = value;
  }
}

}  // namespace

AERROR BackBlazeB2::Connect(IProtocolAuth* auth, const char* connect_info) {
  try {
    auth_ = auth;
    connect_info_ = connect_info == nullptr ? "" : connect_info;
    options_.Change([this](Options& options) {
      ReadAccount(connect_info_, {options.account_id, options.application_key});
    });
  } catch (...) {
    return AERROR::AUTH_FAILED;
  }
  try {
    upload_urls_.Clear();
    about_ = std::make_shared<About>(this);
    return AERROR::SUCCESS;
  } catch (...) {
    return AERROR::ACCESS_VIOLATION;
  }
}

AERROR BackBlazeB2::AuthorizeAccount() {
  const auto options = options_.Get();
  BindQueryLogger(options->query_logger);
  const auto send = [&options](const Request& request) {
    AimAt(*request, kServiceUrl, call::kAuthorizeAccount);
    const std::string credentials = options->account_id + ":" + options->application_key;
    request->AddHeader("Authorization", "Basic " + util::Base64Encode(credentials));
    return request->PerformGet(nullptr, nullptr);
  };
  // An answer without some of the members connects all the same; what is missing keeps its value.
  const auto store = [this](_CURLRTN& result) {
    const auto length = static_cast<std::size_t>(result.bodyLength);
    SetAuthorizedInfo(result.body ? std::string(result.body.get(), length) : std::string());
    return AERROR::SUCCESS;
  };
  return Query(*options, {send, query::kAuthorize}, OnSuccessDo({store, ""}));
}

AERROR BackBlazeB2::SetAuthorizedInfo(std::string body) {
  try {
    JsonObject answer(body.data(), static_cast<unsigned int>(body.size()));
    authorization_token_ = static_cast<std::string>(Required(answer, "authorizationToken"));
    api_url_ = static_cast<std::string>(Required(answer, "apiUrl"));
    download_url_ = static_cast<std::string>(Required(answer, "downloadUrl"));
    recommended_part_size_ = static_cast<long long>(Required(answer, "recommendedPartSize"));
    absolute_minimum_part_size_ =
        static_cast<long long>(Required(answer, "absoluteMinimumPartSize"));
    return AERROR::SUCCESS;
  } catch (...) {
    return AERROR::FAILED;
  }
}

AERROR BackBlazeB2::Query(const Options& options, ServicePerformer performer, HandlerMap on_range,
                          HandlerMap on_code, TransportMap on_transport) const {
  const auto send = [&options, &performer](const Request& request) {
    request->SetLowSpeedLimit(options.low_speed_limit);
    return performer.fn(request);
  };
  return QueryWithBackoff<ExponentialBackoff>(cq, ServicePerformer{send, performer.name},
                                              std::move(on_range), std::move(on_code),
                                              std::move(on_transport));
}

AERROR BackBlazeB2::QueryUnless(const Stop& stop, const Options& options,
                                ServicePerformer performer, HandlerMap on_range, HandlerMap on_code,
                                TransportMap on_transport) const {
  const Stop stopped = stop ? stop : [] { return false; };
  BindQueryLogger(options.query_logger);
  SharedProgress progress{stopped};
  const auto send = [&](const Request& request) {
    if (stopped()) return NotStarted(CURLE_ABORTED_BY_CALLBACK);
    request->SetLowSpeedLimit(options.low_speed_limit);
    request->BindProgress(reinterpret_cast<curl_xferinfo_callback>(&_CURL_PROGRESS_SHARED),
                          &progress);
    return performer.fn(request);
  };
  return QueryWithBackoff<StoppableBackoff>(cq, ServicePerformer{send, performer.name},
                                            std::move(on_range), std::move(on_code),
                                            std::move(on_transport), stopped);
}

ServicePerformer BackBlazeB2::JsonCall(const char* name, const char* call_name,
                                       BodyBuilder body) const {
  const auto send = [this, call_name, body = std::move(body)](const Request& request) {
    return PostJson(*request, api_url_, call_name, authorization_token_, body());
  };
  return {send, name};
}
