#include "b2/backblaze_b2.h"
#include "b2/file_records.h"
#include "protocol/log_lines.h"

namespace {

AERROR AddBuckets(JsonObject& answer, IFileList& list) {
  JsonObject buckets = Required(answer, "buckets");
  const int count = static_cast<int>(buckets.GetArraySize());
  for (int i = 0; i < count; ++i) {
    JsonObject bucket = buckets[i];
    AddTo(list, DirectoryRecord(Required(bucket, "bucketId"), Required(bucket, "bucketName")));
  }
  return AERROR::SUCCESS;
}

}  // namespace

AERROR BackBlazeB2::GetFileList_BucketList(const Options& options, const char*, IFileList* list,
                                           char**) {
  BindQueryLogger(options.query_logger);
  const auto body = [&options] {
    JsonObject request(R"({"bucketTypes":["all"]})");
    request["accountId"] = options.account_id;
    return request;
  };
  return Query(options, JsonCall(query::kListBuckets, call::kListBuckets, body),
               OnSuccess([list](JsonObject& answer) { return AddBuckets(answer, *list); }));
}
