#include "b2/large_file_end.h"

#include <utility>

#include "b2/file_details.h"
#include "b2/file_records.h"
#include "protocol/log_lines.h"

BackBlazeB2::LargeFileEnd::LargeFileEnd(BackBlazeB2& protocol, const Options& options, Stop stop,
                                        ItemPath file, std::vector<std::string> sha1s,
                                        _FS_FILE_V2& record)
    : protocol_(protocol),
      options_(options),
      stop_(std::move(stop)),
      file_(std::move(file)),
      sha1s_(std::move(sha1s)),
      record_(record),
      repeats_(stop_) {}

AERROR BackBlazeB2::LargeFileEnd::Run() {
  const AERROR result = Finish();
  doubtful_ = doubtful_ || Passes(result);
  if (result == AERROR::SUCCESS || !doubtful_ || stop_()) return result;
  const AERROR asked = AskWhetherFinished();
  return asked == AERROR::SUCCESS || result == AERROR::RETRY ? asked : result;
}

AERROR BackBlazeB2::LargeFileEnd::Finish() {
  for (;;) {
    const AERROR result = Try();
    if (!Passes(result) || repeats_.Next() != AERROR::RETRY) return result;
  }
}

AERROR BackBlazeB2::LargeFileEnd::Try() {
  const auto body = [this] {
    JsonObject sha1s("[]");
    for (const std::string& sha1 : sha1s_) sha1s.InsertArrayItem(sha1);
    JsonObject request = Members({{"fileId", file_.rest}});
    request.Insert("partSha1Array", sha1s);
    return request;
  };
  const auto again = [this](_CURLRTN&) {
    doubtful_ = true;
    return repeats_.Next();
  };
  const auto refused = [this](_CURLRTN&) {
    doubtful_ = true;
    gone_ = true;
    return AERROR::FAILED;
  };
  HandlerMap on_range = OnSuccess([this](JsonObject& answer) { return OnFinished(answer); });
  on_range[500] = {again, ""};
  return protocol_.QueryUnless(
      stop_, options_, protocol_.JsonCall(query::kUploadLargeFile, call::kFinishLargeFile, body),
      std::move(on_range), {{400, {refused, ""}}, {408, {again, ""}}}, PassingFailures());
}

AERROR BackBlazeB2::LargeFileEnd::AskWhetherFinished() {
  const auto body = [this] { return Members({{"fileId", file_.rest}}); };
  return protocol_.QueryUnless(
      stop_, options_, protocol_.JsonCall(query::kFileInfo, call::kGetFileInfo, body),
      OnSuccess([this](JsonObject& answer) { return OnFinished(answer); }));
}

AERROR BackBlazeB2::LargeFileEnd::OnFinished(JsonObject& answer) {
  SetStored(options_, record_, answer);
  record_.type = FS_FILE;
  record_.size = ContentLength(answer);
  record_.id = ItemId(file_.container, Required(answer, "fileId"));
  return AERROR::SUCCESS;
}
