#include "b2/service_request.h"

#include <cstdio>
#include <string_view>
#include <utility>

#include "http/transfer_callbacks.h"

JsonObject Members(std::initializer_list<std::pair<const char*, std::string>> members) {
  JsonObject object = JsonObject::GetEmptyObject();
  for (const auto& [name, text] : members) object[name] = text;
  return object;
}

void AimAt(BackBlazeB2CURL& request, const std::string& base_url, const char* call_name) {
  request.SetURL((base_url + call::kCallPath + call_name).c_str());
}

void Authorize(BackBlazeB2CURL& request, const std::string& token) {
  request.AddHeader("Authorization", token);
}

_CURLRTN PostJson(BackBlazeB2CURL& request, const std::string& base_url, const char* call_name,
                  const std::string& token, JsonObject body) {
  AimAt(request, base_url, call_name);
  Authorize(request, token);
  return request.PerformPost(body.ToText());
}

void AimUpload(BackBlazeB2CURL& request, const UploadTarget& target, long long size) {
  request.SetURL(target.url.c_str());
  Authorize(request, target.token);
  request.AddHeader("Content-Length", size);
  request.AddHeader("X-Bz-Content-Sha1", "do_not_verify");
}

_CURLRTN PostRange(BackBlazeB2CURL& request, UploadState& state) {
  state.offset = state.start;
  request.SetPostFileSize(state.length);
  request.SetSeek(reinterpret_cast<curl_seek_callback>(&read_callback_cache_seek_func), &state);
  return request.PerformPost(CallbackPointer(&read_callback_cache_func), &state, state.length);
}

_CURLRTN PostRange(BackBlazeB2CURL& request, DigestState& state) {
  read_callback_digest_seek_func(&state, 0, SEEK_SET);
  const long long size = state.range.length + DigestState::kDigits;
  request.AddHeader("Content-Length", size);
  request.AddHeader("X-Bz-Content-Sha1", "hex_digits_at_end");
  // Empty: it goes at once. libcurl would first wait for a "100 Continue", a round trip each.
  request.AddHeader("Expect", "");
  request.SetPostFileSize(size);
  request.SetSeek(reinterpret_cast<curl_seek_callback>(&read_callback_digest_seek_func), &state);
  return request.PerformPost(CallbackPointer(&read_callback_digest_func), &state, size);
}

bool IsDigestRefusal(const _CURLRTN& result) {
  const std::string_view text(result.body ? result.body.get() : "",
                              static_cast<std::size_t>(result.bodyLength));
  return result.httpCode == 400 && text.find("did not match") != text.npos;
}

ResultHandler WithAnswer(AnswerReader reader) {
  const auto handle = [reader = std::move(reader)](_CURLRTN& result) {
    try {
      const char* text = result.body ? result.body.get() : "";
      JsonObject answer(text, static_cast<unsigned int>(result.bodyLength));
      return reader(answer);
    } catch (...) {
      return AERROR::FAILED;
    }
  };
  return {handle, ""};
}

HandlerMap OnSuccess(AnswerReader reader) { return OnSuccessDo(WithAnswer(std::move(reader))); }

HandlerMap OnSuccess() {
  return OnSuccessDo({[](_CURLRTN&) { return AERROR::SUCCESS; }, ""});
}

HandlerMap OnSuccessDo(ResultHandler handler) { return {{200, std::move(handler)}}; }

HandlerMap OnRefusedUpload(std::function<void()> start_again) {
  const auto handle = [start_again = std::move(start_again)](_CURLRTN&) {
    start_again();
    return AERROR::RETRY;
  };
  HandlerMap map;
  for (const int status : {401, 408, 429, 500}) map[status] = {handle, ""};
  return map;
}

HandlerMap OnUnfinishedNoMore() {
  return {{400, {[](_CURLRTN&) { return AERROR::FILE_NOT_FOUND; }, ""}}};
}

TransportMap TimeoutOnly() { return {{CURLE_OPERATION_TIMEDOUT, AERROR::TIMEDOUT}}; }

TransportMap UploadFailures() {
  return {{CURLE_OPERATION_TIMEDOUT, AERROR::TIMEDOUT},
          {CURLE_WRITE_ERROR, AERROR::UPLOAD_CANCELED},
          {CURLE_ABORTED_BY_CALLBACK, AERROR::UPLOAD_CANCELED},
          {CURLE_FAILED_INIT, AERROR::FAILED}};
}
