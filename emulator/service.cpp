#include "emulator/service.h"

#include <charconv>
#include <nlohmann/json.hpp>

#include "emulator/calls.h"
#include "emulator/errors.h"
#include "emulator/transfers.h"

namespace emulator {
namespace {

using nlohmann::json;

// Of the requests that carry X-Bz-Test-Mode, one in this many misbehaves.
constexpr uint64_t kFailingUpload = 3;
constexpr uint64_t kExpiringCall = 5;

json AllowedJson(const Key& key, const Store& store) {
  json allowed{{"capabilities", key.capabilities},
               {"bucketId", nullptr},
               {"bucketName", nullptr},
               {"namePrefix", nullptr}};
  if (key.name_prefix) allowed["namePrefix"] = *key.name_prefix;
  if (!key.bucket_id) return allowed;
  allowed["bucketId"] = *key.bucket_id;
  for (const Bucket& bucket : store.Buckets()) {
    if (bucket.id == *key.bucket_id) allowed["bucketName"] = bucket.name;
  }
  return allowed;
}

// Version 3 has the same facts one level deeper, the key's rights among them.
json NestForVersion3(json flat, const Key& key) {
  json api{{"infoType", "storageApi"}};
  for (const char* const name :
       {"apiUrl", "downloadUrl", "s3ApiUrl", "recommendedPartSize", "absoluteMinimumPartSize"}) {
    api[name] = flat[name];
  }
  api.update(flat["allowed"]);
  return {{"accountId", flat["accountId"]},
          {"authorizationToken", flat["authorizationToken"]},
          {"applicationKeyExpirationTimestamp", key.expires ? json(*key.expires) : json()},
          {"apiInfo", {{"storageApi", api}}}};
}

Answer BadCredentials() {
  Answer answer = ErrorAnswer(401, "bad_auth_token", "");
  answer.headers.emplace_back("WWW-Authenticate", "BASIC realm=\"authorize_account\"");
  return answer;
}

void RequireMethod(const Request& request, std::initializer_list<std::string_view> methods) {
  for (const std::string_view method : methods) {
    if (request.method == method) return;
  }
  throw ServiceError(405, "method_not_allowed", "Method not allowed: " + request.method);
}

}  // namespace

Service::Service(const Options& options, Store& store, Access& access)
    : options_(options), store_(store), access_(access) {}

void Service::Route(Incoming& incoming) {
  constexpr std::string_view kApi = "/b2api/v";
  constexpr std::string_view kFile = "/file/";
  const std::string& path = incoming.path;
  if (path.starts_with(kFile)) {
    incoming.record.call = "download_by_name";
    incoming.rest = path.substr(kFile.size());
    return;
  }
  if (!path.starts_with(kApi)) return;
  const char* const begin = path.data() + kApi.size();
  const char* const end = path.data() + path.size();
  const auto [slash, error] = std::from_chars(begin, end, incoming.version);
  if (error != std::errc{} || slash == end || *slash != '/') return;
  const std::string_view call_and_rest(slash + 1, end);
  const size_t length = std::min(call_and_rest.find('/'), call_and_rest.size());
  incoming.record.call = call_and_rest.substr(0, length);
  incoming.rest = call_and_rest.substr(std::min(length + 1, call_and_rest.size()));
}

bool Service::IsUpload(const std::string& call) {
  return call == "b2_upload_file" || call == "b2_upload_part";
}

bool Service::Knows(const std::string& call) {
  return call == "download_by_name" || call == "b2_download_file_by_id" ||
         call == "b2_authorize_account" || IsUpload(call) || FindCall(call) != nullptr;
}

bool Service::Changes(const Incoming& incoming) {
  if (IsUpload(incoming.record.call)) return true;
  const Call* const call = FindCall(incoming.record.call);
  return call != nullptr && call->changes;
}

Answer Service::Handle(const Incoming& incoming, BodySource& upload) {
  try {
    return Dispatch(incoming, upload);
  } catch (const ServiceError& refusal) {
    return ErrorAnswer(refusal);
  } catch (const std::exception& failure) {
    return ErrorAnswer(500, "internal_error", failure.what());
  }
}

Answer Service::Dispatch(const Incoming& incoming, BodySource& upload) {
  const Request& request = incoming.record;
  if (request.call == "download_by_name") {
    RequireMethod(request, {"GET", "HEAD"});
    return DownloadByName(store_, access_, incoming);
  }
  if (incoming.version < 1 || incoming.version > 3) throw NotFound("Unknown path");
  if (IsUpload(request.call)) {
    RequireMethod(request, {"POST"});
    MisbehaveAsAsked(request, true);
    const auto take = request.call == "b2_upload_file" ? UploadFile : UploadPart;
    return take(store_, access_, incoming, upload);
  }
  if (request.call == "b2_download_file_by_id") {
    RequireMethod(request, {"GET", "HEAD", "POST"});
    return DownloadById(store_, access_, incoming);
  }
  RequireMethod(request, {"GET", "POST"});
  if (request.call == "b2_authorize_account") return Authorize(incoming);
  return CallByName(incoming);
}

Answer Service::Authorize(const Incoming& incoming) const {
  const KeyPtr key = access_.Login(incoming.record.Header("Authorization"));
  if (!key) return BadCredentials();
  json account{{"accountId", access_.account_id()},
               {"authorizationToken", access_.IssueAccountToken(key)},
               {"apiUrl", incoming.base.empty() ? kApiBase : incoming.base},
               {"downloadUrl", incoming.base.empty() ? kDownloadBase : incoming.base},
               {"recommendedPartSize", options_.recommended_part_size},
               {"absoluteMinimumPartSize", options_.absolute_minimum_part_size},
               {"allowed", AllowedJson(*key, store_)}};
  if (incoming.version == 1) account["minimumPartSize"] = options_.recommended_part_size;
  if (incoming.version >= 2) account["s3ApiUrl"] = kS3Base;
  if (incoming.version >= 3) account = NestForVersion3(std::move(account), *key);
  return JsonAnswer(account.dump(2));
}

Answer Service::CallByName(const Incoming& incoming) {
  const Request& request = incoming.record;
  const Call* const call = FindCall(request.call);
  if (call == nullptr || !incoming.rest.empty()) throw NotFound("Unknown path");
  MisbehaveAsAsked(request, call->stores);
  const KeyPtr key = access_.CheckAccountToken(request.Header("Authorization"));
  RequireCapability(*key, call->capability);
  const Args args = Args::Of(incoming);
  const CallContext context{store_,           access_,           args,         key,
                            incoming.version, options_.page_cap, incoming.base};
  return JsonAnswer(call->answer(context).dump(2));
}

void Service::MisbehaveAsAsked(const Request& request, bool stores) {
  const std::string mode = request.Header("X-Bz-Test-Mode");
  if (mode == "force_cap_exceeded" && stores) {
    throw ServiceError(403, "storage_cap_exceeded", "Cannot upload files, storage cap exceeded");
  }
  if (mode == "fail_some_uploads" && IsUpload(request.call) &&
      ++test_mode_uploads_ % kFailingUpload == 0) {
    throw ServiceError(503, "service_unavailable", "Upload failed as asked by test mode");
  }
  if (mode == "expire_some_account_authorization_tokens" && !IsUpload(request.call) &&
      ++test_mode_calls_ % kExpiringCall == 0) {
    access_.ExpireAccountToken(request.Header("Authorization"));
  }
}

}  // namespace emulator
