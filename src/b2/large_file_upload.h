#pragma once

#include <memory>
#include <string>

#include "b2/backblaze_b2.h"
#include "b2/paths.h"
#include "http/transfer_state.h"

// Writes one large file in parts: start, one part after another, finish. All of it is one query,
// whose performer sends the request that the part number stands for and whose handlers move that
// number.
//
// Part number: 0 (not started) -> 1, 2, ... (next part to send) -> -1 (all sent, to be finished).
class LargeFileUpload {
 public:
  // `record` must outlive the upload; its size in bytes is what is sent.
  LargeFileUpload(BackBlazeB2& protocol, ItemPath object, std::shared_ptr<_FS_HANDLE> handle,
                  ICacheIO* cache, _FS_FILE_V2& record);

  // A round that timed out behind its first part is followed by another that goes on where it
  // stopped, five rounds in all. After a failure the large file stays unfinished on the service.
  AERROR Run();

 private:
  AERROR RunRound();

  _CURLRTN Send(BackBlazeB2CURL& request);
  bool Start();
  _CURLRTN SendPart(BackBlazeB2CURL& request);
  _CURLRTN SendFinish(BackBlazeB2CURL& request) const;
  void BindProgress(BackBlazeB2CURL& request, long long offset);

  AERROR OnAnswer(JsonObject& answer);
  AERROR OnPart(JsonObject& answer);
  AERROR OnFinish(JsonObject& answer);
  void Abandon();

  BackBlazeB2& protocol_;
  const ItemPath object_;
  _FS_FILE_V2& record_;
  const long long size_;  // bytes of the whole file

  int part_number_ = 0;
  std::string file_id_;
  std::string part_url_;  // empty: a fresh one is needed before the next part
  std::string part_token_;
  JsonObject part_sha1s_;  // one text a sent part, in order
  long long remaining_;    // bytes not yet sent
  UploadState part_;
  UploadProgress progress_;
};
