#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_records.h"
#include "b2/large_file_upload.h"
#include "protocol/log_lines.h"
#include "util/mime_types.h"

AERROR BackBlazeB2::UploadLargeFile(const char* path, std::shared_ptr<_FS_HANDLE> handle,
                                    ICacheIO* cache, _FS_FILE_V2* info, UPLOAD_FLAG, char**) {
  if (path == nullptr || *path == '\0' || info->name.empty()) return AERROR::FAILED;
  if (cache == nullptr) return AERROR::FAILED;
  ItemPath object = SplitNormalized(std::string(path) + "/" + info->name);
  if (object.container.empty() || object.rest.empty()) return AERROR::ACCESS_DENIED;
  return LargeFileUpload(*this, std::move(object), std::move(handle), cache, *info).Run();
}

AERROR BackBlazeB2::PrepareLargeFile(std::string bucket_id, std::string file_name,
                                     std::string& file_id, std::string& part_url,
                                     std::string& part_token) {
  const AERROR started = StartLargeFile(std::move(bucket_id), std::move(file_name), file_id);
  return started == AERROR::SUCCESS ? GetUploadPartUrl(file_id, part_url, part_token) : started;
}

AERROR BackBlazeB2::StartLargeFile(std::string bucket_id, std::string file_name,
                                   std::string& file_id) {
  const auto body = [&] {
    return Members({{"bucketId", bucket_id},
                    {"fileName", file_name},
                    {"contentType", get_mime_type_from_ext(file_name)}});
  };
  return Query(JsonCall(query::kStartLargeFile, call::kStartLargeFile, body),
               OnSuccess([&file_id](JsonObject& answer) {
                 file_id = static_cast<std::string>(Required(answer, "fileId"));
                 return AERROR::SUCCESS;
               }));
}

// Asks for a part URL, under the name of a cancellation: the large file is left unfinished on the
// service. Hosts and their users count on what was sent still being there.
AERROR BackBlazeB2::CancelLargeFile(std::string file_id) {
  const auto body = [&] { return Members({{"fileId", file_id}}); };
  const ResultHandler done{[](_CURLRTN&) { return AERROR::SUCCESS; }, ""};
  return Query(JsonCall(query::kCancelLargeFile, call::kGetUploadPartUrl, body), OnSuccessDo(done));
}
