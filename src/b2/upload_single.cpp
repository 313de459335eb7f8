#include <string>
#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_details.h"
#include "b2/file_records.h"
#include "b2/paths.h"
#include "http/transfer_callbacks.h"
#include "protocol/log_lines.h"
#include "util/url_encode.h"

namespace {

_CURLRTN PostContents(BackBlazeB2CURL& request, UploadState& contents) {
  if (contents.handle && contents.handle->progress != nullptr) request.BindHandle(contents.handle);
  return PostRange(request, contents);
}

AERROR ReadStoredFile(const Options& options, JsonObject& answer, const std::string& bucket,
                      _FS_FILE_V2& record) {
  SetStored(options, record, answer);
  record.type = FS_FILE;
  record.size = ContentLength(answer);
  record.id = ItemId(bucket, Required(answer, "fileId"));
  return AERROR::SUCCESS;
}

AERROR ReadStoredMarker(JsonObject& answer, const std::string& bucket, _FS_FILE_V2& record) {
  SetUploadTime(record, answer);
  record.type = FS_DIRECTORY;
  record.size = 0;
  record.id = ItemId(bucket, WithoutMarkerSuffix(Required(answer, "fileName")));
  return AERROR::SUCCESS;
}

}  // namespace

AERROR BackBlazeB2::UploadUsingPost(const Options& options, const char* path,
                                    std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
                                    _FS_FILE_V2* info, char**, bool directory_marker) {
  if (path == nullptr || *path == '\0' || info == nullptr) return AERROR::FAILED;
  const long long size = directory_marker ? 0 : static_cast<long long>(info->size);
  if (size < 0 || (cache == nullptr && !directory_marker)) return AERROR::FAILED;
  const ItemPath item = SplitNormalized(std::string(path) + "/" + info->name);
  if (item.container.empty() || item.rest.empty() || info->name.empty())
    return AERROR::ACCESS_DENIED;

  BindQueryLogger(options.query_logger);
  const std::string stored_name = directory_marker ? item.rest + kMarkerSuffix : item.rest;
  FileAttributes attributes;
  const AERROR described = GetAttributes(options, *info, info->name, attributes);
  if (described != AERROR::SUCCESS) return described;
  UploadTarget target;
  UploadState contents{cache, std::move(handle), 0, size, 0};
  const auto send = [&](const Request& request) {
    target = {};
    // Between attempts no read would notice it, and those have no limit.
    if (GivenUp(contents.handle)) return NotStarted(CURLE_ABORTED_BY_CALLBACK);
    if (GetUploadUrl(options, item.container, target.url, target.token) != AERROR::SUCCESS)
      return NotStarted();
    AimUpload(*request, target, size);
    request->AddHeader("Content-Type", attributes.content_type);
    request->AddHeader("X-Bz-File-Name", URLEncode(stored_name.c_str(), false));
    for (const auto& [key, value] : attributes.info) {
      request->AddHeader(("X-Bz-Info-" + key).c_str(), URLEncode(value.c_str(), false));
    }
    request->SetSpeedLimit(options.speed_limit);
    return directory_marker ? request->PerformPost("") : PostContents(*request, contents);
  };
  const auto read_answer = [&](JsonObject& answer) {
    return directory_marker ? ReadStoredMarker(answer, item.container, *info)
                            : ReadStoredFile(options, answer, item.container, *info);
  };
  return Query(options, {send, query::kUploadSingle}, OnSuccess(read_answer),
               OnRefusedUpload([&target] { target = {}; }), UploadFailures());
}
