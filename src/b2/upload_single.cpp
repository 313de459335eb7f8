#include <string>
#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_details.h"
#include "b2/file_records.h"
#include "b2/paths.h"
#include "b2/repeats.h"
#include "http/transfer_callbacks.h"
#include "protocol/log_lines.h"
#include "util/url_encode.h"

namespace {

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

// Writes a file by one request, or a folder's marker, each attempt on an upload URL of its own.
class BackBlazeB2::SingleUpload {
 public:
  // Without a cache: the marker of the folder `item`. Everything must outlive the upload.
  SingleUpload(BackBlazeB2& protocol, const Options& options, const ItemPath& item,
               const FileAttributes& attributes, std::shared_ptr<_FS_HANDLE> handle,
               ICacheIO* cache, _FS_FILE_V2& record)
      : protocol_(protocol),
        options_(options),
        item_(item),
        attributes_(attributes),
        record_(record),
        marker_(cache == nullptr),
        verified_(options.verify_uploads && !marker_),
        contents_{cache, std::move(handle), 0, marker_ ? 0 : static_cast<long long>(record.size)},
        repeats_([this] { return GivenUp(contents_.handle); }) {}

  AERROR Run() {
    AERROR result = Query();
    // A host that cannot be reached has taken nothing; a new URL names another.
    if (result == AERROR::RETRY && lent_) result = Query();
    if (result == AERROR::SUCCESS && options_.reuse_upload_urls) {
      protocol_.upload_urls_.Keep(item_.container, std::move(target_));
    }
    return result == AERROR::RETRY ? AERROR::FAILED : result;
  }

 private:
  AERROR Query() {
    BindQueryLogger(options_.query_logger);
    const auto send = [this](const Request& request) { return Send(*request); };
    const auto read = [this](JsonObject& answer) { return OnStored(answer); };
    HandlerMap on_range = OnSuccess(read);
    HandlerMap on_code = OnRefusedUpload([this] { target_ = {}; });
    TransportMap on_transport = UploadFailures();
    if (options_.reuse_upload_urls) {
      on_range[500] = {[this](_CURLRTN&) { return lent_ ? AERROR::RETRY : AERROR::FAILED; }, ""};
      on_transport[CURLE_COULDNT_RESOLVE_HOST] = AERROR::RETRY;
      on_transport[CURLE_COULDNT_CONNECT] = AERROR::RETRY;
    }
    if (verified_) {
      const auto again = [this](_CURLRTN& result) {
        return IsDigestRefusal(result) ? repeats_.Next() : AERROR::FAILED;
      };
      on_code[400] = {again, ""};
    }
    return protocol_.Query(options_, {send, query::kUploadSingle}, std::move(on_range),
                           std::move(on_code), std::move(on_transport));
  }

  _CURLRTN Send(BackBlazeB2CURL& request) {
    target_ = {};
    // Between attempts no read would notice it, and those have no limit.
    if (GivenUp(contents_.handle)) return NotStarted(CURLE_ABORTED_BY_CALLBACK);
    if (Aim() != AERROR::SUCCESS) return NotStarted();
    AimUpload(request, target_, contents_.length);
    request.AddHeader("Content-Type", attributes_.content_type);
    const std::string name = marker_ ? item_.rest + kMarkerSuffix : item_.rest;
    request.AddHeader("X-Bz-File-Name", URLEncode(name.c_str(), false));
    for (const auto& [key, value] : attributes_.info) {
      request.AddHeader(("X-Bz-Info-" + key).c_str(), URLEncode(value.c_str(), false));
    }
    request.SetSpeedLimit(options_.speed_limit);
    return marker_ ? request.PerformPost("") : PostContents(request);
  }

  // The first attempt may go to a URL that is kept. After a failure of one the others are not
  // tried: they may have died of the same.
  AERROR Aim() {
    const bool first = std::exchange(first_, false);
    lent_ = false;
    if (first && options_.reuse_upload_urls) {
      if (auto kept = protocol_.upload_urls_.Take(item_.container)) {
        target_ = std::move(*kept);
        lent_ = true;
        return AERROR::SUCCESS;
      }
    }
    return protocol_.GetUploadUrl(options_, item_.container, target_.url, target_.token);
  }

  _CURLRTN PostContents(BackBlazeB2CURL& request) {
    if (contents_.handle && contents_.handle->progress != nullptr) {
      request.BindHandle(contents_.handle);
    }
    return verified_ ? PostRange(request, digest_) : PostRange(request, contents_);
  }

  AERROR OnStored(JsonObject& answer) {
    if (marker_) return ReadStoredMarker(answer, item_.container, record_);
    if (verified_ && BareSha1(Required(answer, "contentSha1")) != digest_.digits) {
      // What is not the file must not be its newest version.
      protocol_.DeleteVersion(options_, Required(answer, "fileId"), item_.rest, nullptr);
      return repeats_.Next();
    }
    return ReadStoredFile(options_, answer, item_.container, record_);
  }

  BackBlazeB2& protocol_;
  const Options& options_;
  const ItemPath& item_;
  const FileAttributes& attributes_;
  _FS_FILE_V2& record_;
  const bool marker_;
  const bool verified_;
  UploadState contents_;
  DigestState digest_{contents_};
  Repeats repeats_;  // of bodies that did not arrive as they were sent
  UploadTarget target_;
  bool first_ = true;
  bool lent_ = false;  // the URL has served other uploads
};

AERROR BackBlazeB2::UploadUsingPost(const Options& options, const char* path,
                                    std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
                                    _FS_FILE_V2* info, char**, bool directory_marker) {
  if (path == nullptr || *path == '\0' || info == nullptr) return AERROR::FAILED;
  const bool too_large = static_cast<long long>(info->size) < 0;
  if (!directory_marker && (too_large || cache == nullptr)) return AERROR::FAILED;
  const ItemPath item = SplitNormalized(std::string(path) + "/" + info->name);
  if (item.container.empty() || item.rest.empty() || info->name.empty())
    return AERROR::ACCESS_DENIED;
  FileAttributes attributes;
  const AERROR described = GetAttributes(options, *info, info->name, attributes);
  if (described != AERROR::SUCCESS) return described;
  return SingleUpload(*this, options, item, attributes, std::move(handle),
                      directory_marker ? nullptr : cache, *info)
      .Run();
}
