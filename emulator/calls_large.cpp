#include "emulator/calls.h"
#include "emulator/errors.h"

namespace emulator {

using nlohmann::json;

json StartLargeFile(const CallContext& call) {
  const Bucket bucket = call.BucketArg();
  const NewFile file{call.args.Text("fileName"), call.args.Text("contentType"),
                     call.args.Info("fileInfo")};
  RequireName(*call.key, file.name);
  return FileJson(*call.store.StartLarge(bucket.id, file), call.dialect());
}

json GetUploadPartUrl(const CallContext& call) {
  const std::string file_id = call.args.Text("fileId");
  call.CheckReach(*call.store.ActiveLarge(file_id));
  const auto ticket = call.access.IssueUpload(file_id, call.key);
  return {{"fileId", file_id},
          {"authorizationToken", ticket->token},
          {"uploadUrl", UploadUrl(call, "b2_upload_part", *ticket)}};
}

json FinishLargeFile(const CallContext& call) {
  const std::string file_id = call.args.Text("fileId");
  if (!call.args.Has("partSha1Array")) throw BadRequest("required field partSha1Array is missing");
  call.CheckReach(*call.store.ActiveLarge(file_id));
  return FileJson(*call.store.FinishLarge(file_id, call.args.Texts("partSha1Array")),
                  call.dialect());
}

json CancelLargeFile(const CallContext& call) {
  const std::string file_id = call.args.Text("fileId");
  call.CheckReach(*call.store.ActiveLarge(file_id));
  const VersionPtr cancelled = call.store.CancelLarge(file_id);
  return {{"accountId", call.access.account_id()},
          {"bucketId", *cancelled->bucket_id},
          {"fileId", file_id},
          {"fileName", cancelled->name}};
}

}  // namespace emulator
