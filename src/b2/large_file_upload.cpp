#include "b2/large_file_upload.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "b2/file_records.h"
#include "http/transfer_callbacks.h"
#include "protocol/log_lines.h"
#include "util/strings.h"

namespace {

constexpr int kRounds = 5;
constexpr int kAllSent = -1;
constexpr std::chrono::nanoseconds kPauseBetweenRounds{500'000};
constexpr long kLowSpeedSeconds = 60;

// The service's "unverified:HASH" without its prefix.
std::string BareHash(const std::string& sha1) {
  const auto pieces = split_delim(sha1, ":");
  return pieces.size() >= 2 && pieces[0] == "unverified" ? pieces[1] : sha1;
}

}  // namespace

LargeFileUpload::LargeFileUpload(BackBlazeB2& protocol, ItemPath object,
                                 std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
                                 _FS_FILE_V2& record)
    : protocol_(protocol),
      object_(std::move(object)),
      record_(record),
      size_(static_cast<long long>(record.size)),
      part_sha1s_("[]"),
      remaining_(size_) {
  part_.cache = cache;
  part_.handle = std::move(handle);
}

AERROR LargeFileUpload::Run() {
  BindQueryLogger(protocol_.query_logger_);
  for (int rounds = kRounds;;) {
    const AERROR result = RunRound();
    if (result == AERROR::SUCCESS) return result;
    Abandon();
    if (result != AERROR::TIMEDOUT || part_number_ < 2) return result;
    std::this_thread::sleep_for(kPauseBetweenRounds);
    if (--rounds == 0) return result;
    part_url_.clear();
  }
}

AERROR LargeFileUpload::RunRound() {
  const auto send = [this](const Request& request) { return Send(*request); };
  return protocol_.Query({send, query::kUploadLargeFile},
                         OnSuccess([this](JsonObject& answer) { return OnAnswer(answer); }),
                         OnRefusedUpload([this] { part_number_ = 0; }), UploadFailures());
}

_CURLRTN LargeFileUpload::Send(BackBlazeB2CURL& request) {
  // Between requests no read would notice it.
  if (GivenUp(part_.handle)) return NotStarted(CURLE_ABORTED_BY_CALLBACK);
  if (part_number_ == 0 && !Start()) return NotStarted();
  if (part_number_ == kAllSent) return SendFinish(request);
  if (part_url_.empty() &&
      protocol_.GetUploadPartUrl(file_id_, part_url_, part_token_) != AERROR::SUCCESS) {
    return NotStarted();
  }
  return SendPart(request);
}

bool LargeFileUpload::Start() {
  part_sha1s_ = JsonObject("[]");
  Abandon();
  file_id_.clear();
  remaining_ = size_;
  if (protocol_.PrepareLargeFile(object_.container, object_.rest, file_id_, part_url_,
                                 part_token_) != AERROR::SUCCESS) {
    return false;
  }
  part_number_ = 1;
  return true;
}

_CURLRTN LargeFileUpload::SendPart(BackBlazeB2CURL& request) {
  const long long part_size = protocol_.recommended_part_size_;
  part_.start = size_ - remaining_;
  part_.length = part_size > 0 ? std::min<long long>(part_size, remaining_) : remaining_;
  part_.offset = part_.start;

  request.SetLowSpeedTimeout(kLowSpeedSeconds);
  BindProgress(request, part_.start);
  request.SetURL(part_url_.c_str());
  Authorize(request, part_token_);
  request.AddHeader("X-Bz-Part-Number", part_number_);
  request.AddHeader("Content-Length", part_.length);
  request.AddHeader("X-Bz-Content-Sha1", "do_not_verify");
  request.SetSpeedLimit(protocol_.speed_limit_);
  request.SetPostFileSize(part_.length);
  request.SetSeek(reinterpret_cast<curl_seek_callback>(&read_callback_cache_seek_func), &part_);
  return request.PerformPost(CallbackPointer(&read_callback_cache_func), &part_, part_.length);
}

void LargeFileUpload::BindProgress(BackBlazeB2CURL& request, long long offset) {
  if (!part_.handle) return;
  progress_ = {{part_.handle->progress, part_.handle->progress_context, request.GetCURL()},
               size_,
               0,
               offset};
  request.BindProgress(reinterpret_cast<curl_xferinfo_callback>(&_CURL_PROGRESS_B2), &progress_);
}

_CURLRTN LargeFileUpload::SendFinish(BackBlazeB2CURL& request) const {
  JsonObject body = Members({{"fileId", file_id_}});
  body.Insert("partSha1Array", part_sha1s_);
  return PostJson(request, protocol_.api_url_, call::kFinishLargeFile,
                  protocol_.authorization_token_, body);
}

AERROR LargeFileUpload::OnAnswer(JsonObject& answer) {
  return part_number_ == kAllSent ? OnFinish(answer) : OnPart(answer);
}

AERROR LargeFileUpload::OnPart(JsonObject& answer) {
  part_sha1s_.InsertArrayItem(BareHash(Required(answer, "contentSha1")));
  remaining_ -= part_.length;
  part_number_ = remaining_ > 0 ? part_number_ + 1 : kAllSent;
  return AERROR::RETRY;
}

AERROR LargeFileUpload::OnFinish(JsonObject& answer) {
  SetUploadTime(record_, answer);
  record_.size =
      static_cast<std::uint64_t>(static_cast<long long>(Required(answer, "contentLength")));
  record_.id = ItemId(object_.container, Required(answer, "fileId"));
  return AERROR::SUCCESS;
}

void LargeFileUpload::Abandon() {
  if (!file_id_.empty()) protocol_.CancelLargeFile(file_id_);
}
