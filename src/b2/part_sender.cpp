#include "b2/part_sender.h"

#include <algorithm>
#include <utility>

#include "b2/file_records.h"
#include "b2/range_hash.h"
#include "http/transfer_callbacks.h"
#include "protocol/log_lines.h"

namespace {

constexpr long kLowSpeedSeconds = 60;

}  // namespace

BackBlazeB2::PartSender::PartSender(BackBlazeB2& protocol, SharedUpload& upload)
    : protocol_(protocol),
      upload_(upload),
      stop_([&upload] { return upload.workers.failed() || GivenUp(upload.handle); }),
      progress_{stop_} {
  range_.cache = upload.cache;
  range_.handle = upload.handle;
  range_.shown = false;
}

AERROR BackBlazeB2::PartSender::Run(LogRelay& log) {
  log_ = &log;
  while (!upload_.workers.failed()) {
    const std::optional<Part> part = upload_.board.Take();
    if (!part) break;
    const AERROR result = SendOrFind(*part);
    progress_.uploaded = 0;
    if (result != AERROR::SUCCESS) return result;
    upload_.board.Done(*part, std::move(sha1_));
  }
  return AERROR::SUCCESS;
}

AERROR BackBlazeB2::PartSender::SendOrFind(const Part& part) {
  range_.start = part.start;
  range_.length = part.length;
  const auto stored = upload_.stored.find(part.number);
  if (stored != upload_.stored.end() && stored->second.length == part.length) {
    const std::optional<std::string> sha1 = HashRange(range_, stop_);
    if (!sha1) return AERROR::UPLOAD_CANCELED;
    sha1_ = *sha1;
    if (sha1_ == stored->second.sha1) return AERROR::SUCCESS;
  }
  return Send(part);
}

AERROR BackBlazeB2::PartSender::Send(const Part& part) {
  repeats_.emplace(stop_);
  for (;;) {
    AERROR result = Attempt(part);
    if (Passes(url_result_)) result = std::exchange(url_result_, AERROR::SUCCESS);
    if (result == AERROR::SUCCESS) log_->Release();
    if (!Passes(result)) return result;
    if (Again() != AERROR::RETRY) return result == AERROR::RETRY ? AERROR::FAILED : result;
  }
}

AERROR BackBlazeB2::PartSender::Attempt(const Part& part) {
  // Before a request object is lent for the part, so that one object, and its connections, serve
  // both.
  if (!HasTarget() && GetUrl() != AERROR::SUCCESS) return AERROR::FAILED;
  const auto post = [&](const Request& request) { return Post(*request, part); };
  return protocol_.QueryUnless(stop_, upload_.options, {post, query::kUploadLargeFile},
                               OnPassing([this](JsonObject& answer) { return OnStored(answer); }),
                               OnRefusal(), PassingFailures());
}

_CURLRTN BackBlazeB2::PartSender::Post(BackBlazeB2CURL& request, const Part& part) {
  if (!HasTarget() && GetUrl() != AERROR::SUCCESS) return NotStarted();
  BindQueryLogger(upload_.options.query_logger);
  request.SetLowSpeedTimeout(kLowSpeedSeconds);
  request.BindProgress(reinterpret_cast<curl_xferinfo_callback>(&_CURL_PROGRESS_SHARED),
                       &progress_);
  AimUpload(request, *target_, part.length);
  request.AddHeader("X-Bz-Part-Number", part.number);
  request.SetSpeedLimit(upload_.speed_limit);
  return upload_.options.verify_uploads ? PostRange(request, digest_) : PostRange(request, range_);
}

bool BackBlazeB2::PartSender::HasTarget() {
  if (target_ && target_->IsOld()) target_.reset();
  return target_.has_value();
}

AERROR BackBlazeB2::PartSender::GetUrl() {
  const auto body = [this] { return Members({{"fileId", upload_.file_id}}); };
  UploadTarget fresh;
  const auto read = [&fresh](JsonObject& answer) {
    fresh.url = static_cast<std::string>(Required(answer, "uploadUrl"));
    fresh.token = static_cast<std::string>(Required(answer, "authorizationToken"));
    return AERROR::SUCCESS;
  };
  HandlerMap on_code = OnRefusal();
  on_code.erase(401);  // not the URL's token but the account's
  url_result_ = protocol_.QueryUnless(
      stop_, upload_.options,
      protocol_.JsonCall(query::kUploadPartUrl, call::kGetUploadPartUrl, body), OnPassing(read),
      std::move(on_code), PassingFailures());
  if (url_result_ == AERROR::SUCCESS) target_ = std::move(fresh);
  return url_result_;
}

AERROR BackBlazeB2::PartSender::OnStored(JsonObject& answer) {
  sha1_ = BareSha1(Required(answer, "contentSha1"));
  const bool wrong = upload_.options.verify_uploads && sha1_ != digest_.digits;
  return wrong ? Again() : AERROR::SUCCESS;
}

AERROR BackBlazeB2::PartSender::Again() {
  target_.reset();
  log_->Release();
  return repeats_->Next();
}

HandlerMap BackBlazeB2::PartSender::OnPassing(AnswerReader reader) {
  HandlerMap map = OnSuccess(std::move(reader));
  map[500] = {[this](_CURLRTN&) { return Again(); }, ""};
  return map;
}

HandlerMap BackBlazeB2::PartSender::OnRefusal() {
  const auto again = [this](_CURLRTN&) { return Again(); };
  const auto refused = [this](_CURLRTN& result) {
    if (upload_.options.verify_uploads && IsDigestRefusal(result)) return Again();
    upload_.gone = true;
    return AERROR::FAILED;
  };
  return {{400, {refused, ""}}, {401, {again, ""}}, {408, {again, ""}}};
}
