#include "b2/backblaze_b2.h"
#include "b2/file_records.h"
#include "b2/guarded.h"
#include "b2/paths.h"
#include "protocol/log.h"
#include "protocol/log_lines.h"
#include "util/time_format.h"
#include "util/url_encode.h"

namespace {

AERROR ReadBucket(JsonObject& answer, _FS_FILE_V2& record) {
  record.id = static_cast<std::string>(Required(answer, "bucketId"));
  SetTimes(record, GetSystemTimeRfc3339());
  record.type = FS_DIRECTORY;
  return AERROR::SUCCESS;
}

}  // namespace

AERROR BackBlazeB2::CreateDirectory(const char* id, _FS_FILE_V2* out, char** message) {
  return Guarded(AERROR::FAILED, [&] {
    std::string identifier = id == nullptr ? "" : id;
    if (out != nullptr) identifier += "/" + out->name;
    const auto [bucket, object] = SplitNormalized(identifier);
    __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s bucket_id [%s], object_name [%s]",
             "CreateDirectory", bucket.c_str(), object.c_str());
    const auto options = options_.Get();
    if (!object.empty()) return UploadUsingPost(*options, id, nullptr, nullptr, out, message, true);
    return CreateBucket(*options, out);
  });
}

// Always private; hosts have no notion of a public bucket.
AERROR BackBlazeB2::CreateBucket(const Options& options, _FS_FILE_V2* record) {
  if (record == nullptr) return AERROR::FAILED;
  const auto body = [&options, record] {
    return Members({{"accountId", options.account_id},
                    {"bucketName", URLEncode(record->name.c_str(), false)},
                    {"bucketType", "allPrivate"}});
  };
  return Query(options, JsonCall(query::kCreateBucket, call::kCreateBucket, body),
               OnSuccess([record](JsonObject& answer) { return ReadBucket(answer, *record); }));
}
