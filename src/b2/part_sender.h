#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "b2/backblaze_b2.h"
#include "b2/repeats.h"
#include "b2/workers.h"
#include "engine/log_relay.h"

// What the senders of one large file's parts share. Outlives them.
struct SharedUpload {
  const Options& options;
  ICacheIO* cache;
  std::shared_ptr<_FS_HANDLE> handle;
  std::string file_id;
  StoredParts stored;             // what the service holds from an earlier try
  long long speed_limit;          // bytes per second of each sender
  std::atomic<bool> gone{false};  // the service does not know the large file any more
  PartBoard board;
  Workers workers = {};
};

// Sends parts, one after another, as one of several workers: each again, on a new URL, after what
// passes, and the file is given up when a part cannot be had.
class BackBlazeB2::PartSender {
 public:
  PartSender(BackBlazeB2& protocol, SharedUpload& upload);

  // Until there is nothing more to send.
  AERROR Run(LogRelay& log);

  long long BytesSending() const { return progress_.uploaded; }  // of the running part

 private:
  AERROR SendOrFind(const Part& part);
  AERROR Send(const Part& part);
  AERROR Attempt(const Part& part);
  _CURLRTN Post(BackBlazeB2CURL& request, const Part& part);
  bool HasTarget();  // drops one that is old
  AERROR GetUrl();
  AERROR OnStored(JsonObject& answer);
  // For what passes: another attempt on another URL, if there is one left.
  AERROR Again();
  HandlerMap OnPassing(AnswerReader reader);
  HandlerMap OnRefusal();

  BackBlazeB2& protocol_;
  SharedUpload& upload_;
  const Stop stop_;
  LogRelay* log_ = nullptr;
  SharedProgress progress_;
  std::optional<UploadTarget> target_;
  std::optional<Repeats> repeats_;  // of the running part
  UploadState range_;
  DigestState digest_{range_};
  AERROR url_result_ = AERROR::SUCCESS;
  std::string sha1_;  // of the part that was sent
};
