#include <cstdlib>
#include <new>
#include <string>
#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/guarded.h"
#include "b2/paths.h"
#include "http/transfer_callbacks.h"
#include "protocol/log.h"
#include "protocol/log_lines.h"

namespace {

struct Range {
  long long offset;
  long long length;

  // Both ends inclusive; a length of 0 gives an end below the start.
  std::string Header() const {
    const auto end =
        static_cast<unsigned long long>(offset) + static_cast<unsigned long long>(length) - 1;
    return "bytes=" + std::to_string(offset) + "-" + std::to_string(static_cast<long long>(end));
  }
};

DownloadState NewState(std::shared_ptr<_FS_HANDLE> handle, IFetchCallback* callback) {
  DownloadState state;
  state.buffer.reset(static_cast<char*>(std::malloc(kStagingBytes)));
  if (!state.buffer) throw std::bad_alloc();
  state.handle = std::move(handle);
  state.callback = callback;
  return state;
}

// Back to the range's start: an earlier attempt may have staged bytes.
void Rewind(DownloadState& state, Range range, CURL* easy) {
  state.offset = range.offset;
  state.start = range.offset;
  state.remaining = range.length;
  state.buffered = 0;
  state.easy = easy;
  state.known = false;
  state.refused = false;
}

// What a strict read makes of an attempt that was not refused by the service.
int StrictCode(const DownloadState& state, const _CURLRTN& result) {
  if (state.refused) return CURLE_WEIRD_SERVER_REPLY;
  const bool short_of_it = result.code == CURLE_OK && state.remaining > state.buffered;
  return short_of_it && result.httpCode < 400 ? CURLE_PARTIAL_FILE : result.code;
}

// Gets the range of the file that the request is aimed at.
_CURLRTN Fetch(BackBlazeB2CURL& request, Range range, DownloadState& state) {
  request.AddHeader("Range", range.Header());
  request.SetContentDecoding(false);
  Rewind(state, range, request.GetCURL());
  _CURLRTN result = request.PerformGet(CallbackPointer(&write_callback_cache_func), &state);
  if (state.strict) result.code = StrictCode(state, result);
  // An error answer without a body reaches no callback.
  if (result.httpCode >= 400 && GivenUp(state.handle)) result.code = CURLE_WRITE_ERROR;
  return result;
}

AERROR DeliverRest(DownloadState& state) {
  return Guarded(AERROR::FAILED, [&state] {
    if (state.buffered > 0) DeliverStaged(state);
    return AERROR::SUCCESS;
  });
}

}  // namespace

AERROR BackBlazeB2::Read(const char* id, long long offset, long long length,
                         std::shared_ptr<_FS_HANDLE> handle, IFetchCallback* callback, char**) {
  return Guarded(AERROR::FAILED, [&] {
    if (id == nullptr) return AERROR::FILE_READ_FAILED;
    __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s [%s] offset %lld, length %lld", "Read", id,
             offset, length);
    const ItemPath file = SplitIdentifier(id);
    if (file.container.empty() || callback == nullptr) return AERROR::FAILED;

    const Range range{offset, length};
    DownloadState state = NewState(std::move(handle), callback);
    const auto options = options_.Get();
    state.strict = options->strict_answers;
    const auto send = [&](const Request& request) {
      if (GivenUp(state.handle)) return NotStarted(CURLE_WRITE_ERROR);
      // From the API URL, like every other call, not from the download URL.
      const std::string target = std::string(call::kDownloadFileById) + "?fileId=" + file.rest;
      AimAt(*request, api_url_, target.c_str());
      Authorize(*request, authorization_token_);
      request->SetSpeedLimit(options->speed_limit);
      return Fetch(*request, range, state);
    };
    const auto deliver_rest = [&state](_CURLRTN&) { return DeliverRest(state); };
    return Query(
        *options, {send, query::kRead}, OnSuccessDo({deliver_rest, ""}), {},
        {{CURLE_OPERATION_TIMEDOUT, AERROR::TIMEDOUT}, {CURLE_WRITE_ERROR, AERROR::READ_CANCELED}});
  });
}
