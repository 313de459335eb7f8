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

AERROR BackBlazeB2::GetFileList_BucketList(const char*, IFileList* list, char**) {
  BindQueryLogger(query_logger_);
  const auto body = [this] {
    JsonObject request(R"({"bucketTypes":["all"]})");
    request["accountId"] = account_id_;
    return request;
  };
  return Query(JsonCall(query::kListBuckets, call::kListBuckets, body),
               OnSuccess([list](JsonObject& answer) { return AddBuckets(answer, *list); }));
}
