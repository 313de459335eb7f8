#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_details.h"
#include "b2/file_records.h"
#include "b2/paths.h"
#include "http/transfer_callbacks.h"
#include "protocol/log_lines.h"

namespace {

constexpr int kRounds = 5;
constexpr int kAllSent = -1;
constexpr std::chrono::nanoseconds kPauseBetweenRounds{500'000};
constexpr long kLowSpeedSeconds = 60;

}  // namespace

// Writes one large file in parts: start, one part after another, finish. All of it is one query,
// whose performer sends the request that the part number stands for and whose handlers move that
// number.
//
// Part number: 0 (not started) -> 1, 2, ... (next part to send) -> -1 (all sent, to be finished).
class BackBlazeB2::LargeFileUpload {
 public:
  // `record` must outlive the upload; its size in bytes is what is sent.
  LargeFileUpload(BackBlazeB2& protocol, const Options& options, ItemPath object,
                  FileAttributes attributes, std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
                  _FS_FILE_V2& record)
      : protocol_(protocol),
        options_(options),
        object_(std::move(object)),
        record_(record),
        attributes_(std::move(attributes)),
        size_(static_cast<long long>(record.size)),
        part_sha1s_("[]"),
        remaining_(size_) {
    part_.cache = cache;
    part_.handle = std::move(handle);
  }

  // A round that timed out after its first part is followed by another that goes on where it
  // stopped, five rounds in all. After a failure the large file stays unfinished on the service,
  // unless the host wants it canceled.
  AERROR Run() {
    BindQueryLogger(options_.query_logger);
    for (int rounds = kRounds;;) {
      const AERROR result = RunRound();
      if (result == AERROR::SUCCESS) return result;
      const bool goes_on = result == AERROR::TIMEDOUT && part_number_ >= 2 && --rounds > 0;
      if (!goes_on || !options_.cancel_failed_uploads) Abandon();
      if (result == AERROR::TIMEDOUT && part_number_ >= 2) {
        std::this_thread::sleep_for(kPauseBetweenRounds);
      }
      if (!goes_on) return result;
      target_.url.clear();
    }
  }

 private:
  AERROR RunRound() {
    const auto send = [this](const Request& request) { return Send(*request); };
    return protocol_.Query(options_, {send, query::kUploadLargeFile},
                           OnSuccess([this](JsonObject& answer) { return OnAnswer(answer); }),
                           OnRefusedUpload([this] { part_number_ = 0; }), UploadFailures());
  }

  _CURLRTN Send(BackBlazeB2CURL& request) {
    // Between requests no read would notice it.
    if (GivenUp(part_.handle)) return NotStarted(CURLE_ABORTED_BY_CALLBACK);
    if (part_number_ == 0 && !Start()) return NotStarted();
    if (part_number_ == kAllSent) return SendFinish(request);
    if (target_.url.empty() && protocol_.GetUploadPartUrl(options_, file_id_, target_.url,
                                                          target_.token) != AERROR::SUCCESS) {
      return NotStarted();
    }
    return SendPart(request);
  }

  bool Start() {
    part_sha1s_ = JsonObject("[]");
    Abandon();
    file_id_.clear();
    remaining_ = size_;
    if (protocol_.PrepareLargeFile(options_, object_, attributes_, file_id_, target_.url,
                                   target_.token) != AERROR::SUCCESS) {
      return false;
    }
    part_number_ = 1;
    return true;
  }

  _CURLRTN SendPart(BackBlazeB2CURL& request) {
    const long long part_size = protocol_.recommended_part_size_;
    part_.start = size_ - remaining_;
    part_.length = part_size > 0 ? std::min<long long>(part_size, remaining_) : remaining_;

    request.SetLowSpeedTimeout(kLowSpeedSeconds);
    BindProgress(request);
    AimUpload(request, target_, part_.length);
    request.AddHeader("X-Bz-Part-Number", part_number_);
    request.SetSpeedLimit(options_.speed_limit);
    return PostRange(request, part_);
  }

  void BindProgress(BackBlazeB2CURL& request) {
    if (!part_.handle) return;
    progress_ = {{part_.handle->progress, part_.handle->progress_context, request.GetCURL()},
                 size_,
                 0,
                 part_.start};
    request.BindProgress(reinterpret_cast<curl_xferinfo_callback>(&_CURL_PROGRESS_B2), &progress_);
  }

  _CURLRTN SendFinish(BackBlazeB2CURL& request) const {
    JsonObject body = Members({{"fileId", file_id_}});
    body.Insert("partSha1Array", part_sha1s_);
    return PostJson(request, protocol_.api_url_, call::kFinishLargeFile,
                    protocol_.authorization_token_, body);
  }

  AERROR OnAnswer(JsonObject& answer) {
    return part_number_ == kAllSent ? OnFinish(answer) : OnPart(answer);
  }

  AERROR OnPart(JsonObject& answer) {
    part_sha1s_.InsertArrayItem(BareSha1(Required(answer, "contentSha1")));
    remaining_ -= part_.length;
    part_number_ = remaining_ > 0 ? part_number_ + 1 : kAllSent;
    return AERROR::RETRY;
  }

  AERROR OnFinish(JsonObject& answer) {
    SetStored(options_, record_, answer);
    record_.size = ContentLength(answer);
    record_.id = ItemId(object_.container, Required(answer, "fileId"));
    return AERROR::SUCCESS;
  }

  void Abandon() {
    if (file_id_.empty()) return;
    options_.cancel_failed_uploads ? protocol_.DiscardLargeFile(options_, file_id_, {})
                                   : protocol_.CancelLargeFile(options_, file_id_);
  }

  BackBlazeB2& protocol_;
  const Options& options_;
  const ItemPath object_;
  _FS_FILE_V2& record_;
  const FileAttributes attributes_;
  const long long size_;  // bytes of the whole file

  int part_number_ = 0;
  std::string file_id_;
  UploadTarget target_;    // an empty URL: a fresh one is needed before the next part
  JsonObject part_sha1s_;  // a text for each part that was sent, in order
  long long remaining_;    // bytes not yet sent
  UploadState part_;
  UploadProgress progress_;
};

AERROR BackBlazeB2::UploadLargeFile(const Options& options, const char* path,
                                    std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
                                    _FS_FILE_V2* info, UPLOAD_FLAG, char**) {
  if (path == nullptr || *path == '\0' || info->name.empty()) return AERROR::FAILED;
  if (cache == nullptr) return AERROR::FAILED;
  ItemPath object = SplitNormalized(std::string(path) + "/" + info->name);
  if (object.container.empty() || object.rest.empty()) return AERROR::ACCESS_DENIED;
  FileAttributes attributes;
  const AERROR described = GetAttributes(options, *info, object.rest, attributes);
  if (described != AERROR::SUCCESS) return described;
  return LargeFileUpload(*this, options, std::move(object), std::move(attributes),
                         std::move(handle), cache, *info)
      .Run();
}

AERROR BackBlazeB2::PrepareLargeFile(const Options& options, const ItemPath& object,
                                     const FileAttributes& attributes, std::string& file_id,
                                     std::string& part_url, std::string& part_token) {
  const AERROR started = StartLargeFile(options, object, attributes, file_id);
  return started == AERROR::SUCCESS ? GetUploadPartUrl(options, file_id, part_url, part_token)
                                    : started;
}

AERROR BackBlazeB2::StartLargeFile(const Options& options, const ItemPath& object,
                                   const FileAttributes& attributes, std::string& file_id) {
  const auto body = [&] {
    JsonObject start = Members({{"bucketId", object.container},
                                {"fileName", object.rest},
                                {"contentType", attributes.content_type}});
    if (!attributes.info.empty()) start.Insert("fileInfo", InfoMembers(attributes));
    return start;
  };
  return Query(options, JsonCall(query::kStartLargeFile, call::kStartLargeFile, body),
               OnSuccess([&file_id](JsonObject& answer) {
                 file_id = static_cast<std::string>(Required(answer, "fileId"));
                 return AERROR::SUCCESS;
               }));
}

AERROR BackBlazeB2::DiscardLargeFile(const Options& options, std::string file_id,
                                     const Stop& stop) {
  const auto body = [&] { return Members({{"fileId", file_id}}); };
  return QueryUnless(stop, options, JsonCall(query::kCancelLargeFile, call::kCancelLargeFile, body),
                     OnSuccess(), OnUnfinishedNoMore());
}

// Asks for a part URL, under the name of a cancellation: the large file is left unfinished on the
// service. Hosts and their users count on what was sent still being there.
AERROR BackBlazeB2::CancelLargeFile(const Options& options, std::string file_id) {
  const auto body = [&] { return Members({{"fileId", file_id}}); };
  return Query(options, JsonCall(query::kCancelLargeFile, call::kGetUploadPartUrl, body),
               OnSuccess());
}
