#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_records.h"
#include "b2/guarded.h"
#include "protocol/log.h"
#include "protocol/log_lines.h"

namespace {

AERROR ReadUploadTarget(JsonObject& answer, std::string& url, std::string& token) {
  url = static_cast<std::string>(Required(answer, "uploadUrl"));
  token = static_cast<std::string>(Required(answer, "authorizationToken"));
  return AERROR::SUCCESS;
}

}  // namespace

// The host's flags are not passed on: neither procedure depends on them.
AERROR BackBlazeB2::Upload(const char* id, std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
                           _FS_FILE_V2* out, UPLOAD_FLAG flags, char** message) {
  return Guarded(AERROR::FAILED, [&] {
    __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s id [%s], name [%s]", "Upload", Shown(id),
             out == nullptr ? Shown(nullptr) : out->name.c_str());
    if (id == nullptr) return AERROR::ACCESS_DENIED;
    if (out == nullptr) return AERROR::FAILED;
    const auto options = options_.Get();
    if (options->UploadsInParts()) {
      return UploadInParts(*options, id, std::move(handle), cache, out, message);
    }
    if (static_cast<std::int64_t>(out->size) < recommended_part_size_) {
      return UploadUsingPost(*options, id, std::move(handle), cache, out, message, false);
    }
    return UploadLargeFile(*options, id, std::move(handle), cache, out, flags, message);
  });
}

AERROR BackBlazeB2::GetUploadUrl(const Options& options, std::string bucket_id,
                                 std::string& upload_url, std::string& upload_token) {
  const auto body = [&] { return Members({{"bucketId", bucket_id}}); };
  return Query(options, JsonCall(query::kUploadUrl, call::kGetUploadUrl, body),
               OnSuccess([&](JsonObject& answer) {
                 return ReadUploadTarget(answer, upload_url, upload_token);
               }));
}

AERROR BackBlazeB2::GetUploadPartUrl(const Options& options, std::string file_id, std::string& url,
                                     std::string& token) {
  const auto body = [&] { return Members({{"fileId", file_id}}); };
  return Query(options, JsonCall(query::kUploadPartUrl, call::kGetUploadPartUrl, body),
               OnSuccess([&](JsonObject& answer) { return ReadUploadTarget(answer, url, token); }));
}
