#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

#include "b2/service_calls.h"
#include "b2/upload_urls.h"
#include "engine/query_with_backoff.h"
#include "http/backblaze_b2_curl.h"
#include "http/transfer_state.h"
#include "util/json_object.h"

// The pieces that service calls are made of. Most of them have one shape (URL, account token,
// JSON body, POST): BackBlazeB2::JsonCall. Authorization, download and uploads use the steps
// singly.

using Request = std::shared_ptr<BackBlazeB2CURL>;
using ServicePerformer = Performer<BackBlazeB2CURL>;
using BodyBuilder = std::function<JsonObject()>;  // called anew for each attempt
using AnswerReader = std::function<AERROR(JsonObject&)>;

// A JSON object of text members.
JsonObject Members(std::initializer_list<std::pair<const char*, std::string>> members);

// Steps on a lent request object.
void AimAt(BackBlazeB2CURL& request, const std::string& base_url, const char* call_name);
void Authorize(BackBlazeB2CURL& request, const std::string& token);
_CURLRTN PostJson(BackBlazeB2CURL& request, const std::string& base_url, const char* call_name,
                  const std::string& token, JsonObject body);

// Steps of an upload of `size` bytes: URL, token and the headers that every upload has; the POST of
// the range of the host's cache that `state` names, from its start, or of that and its digest.
void AimUpload(BackBlazeB2CURL& request, const UploadTarget& target, long long size);
_CURLRTN PostRange(BackBlazeB2CURL& request, UploadState& state);
_CURLRTN PostRange(BackBlazeB2CURL& request, DigestState& state);

// Whether an answer says that what arrived is not what its digest was made of.
bool IsDigestRefusal(const _CURLRTN& result);

// A handler that hands the answer's JSON body to `reader`. What does not parse, and whatever the
// reader throws, is FAILED.
ResultHandler WithAnswer(AnswerReader reader);

// The maps of a call.
HandlerMap OnSuccess(AnswerReader reader);      // every status from 200 to 299
HandlerMap OnSuccess();                         // the same, for an answer that says nothing more
HandlerMap OnSuccessDo(ResultHandler handler);  // the same, with the result as it came
// The statuses after which an upload starts again. The entry for 429 stands for completeness: the
// backoff policy takes that status first.
HandlerMap OnRefusedUpload(std::function<void()> start_again);
// FILE_NOT_FOUND for 400, which is how the service says that a large file is unfinished no more.
HandlerMap OnUnfinishedNoMore();
TransportMap TimeoutOnly();
TransportMap UploadFailures();
