#include <array>

#include "emulator/calls.h"
#include "emulator/errors.h"
#include "emulator/file_id.h"

namespace emulator {
namespace {

using nlohmann::json;

constexpr int64_t kMaxGrantSeconds = 604'800;

}  // namespace

json GetFileInfo(const CallContext& call) {
  const VersionPtr file = call.store.Find(call.args.Text("fileId"));
  call.CheckReach(*file);
  if (file->action == Action::kStart) throw NotFound("File not present: " + file->Id());
  return FileJson(*file, call.dialect());
}

json GetUploadUrl(const CallContext& call) {
  const Bucket bucket = call.BucketArg();
  const auto ticket = call.access.IssueUpload(bucket.id, call.key);
  return {{"bucketId", bucket.id},
          {"authorizationToken", ticket->token},
          {"uploadUrl", UploadUrl(call, "b2_upload_file", *ticket)}};
}

json HideFile(const CallContext& call) {
  const Bucket bucket = call.BucketArg();
  const std::string name = call.args.Text("fileName");
  RequireName(*call.key, name);
  return ListedJson(*call.store.Hide(bucket.id, name), call.dialect());
}

json DeleteFileVersion(const CallContext& call) {
  const std::string name = call.args.Text("fileName");
  const std::string file_id = call.args.Text("fileId");
  RequireBucket(*call.key, BucketIdOf(file_id));
  RequireName(*call.key, name);
  call.store.Delete(name, file_id);
  return {{"fileId", file_id}, {"fileName", name}};
}

json GetDownloadAuthorization(const CallContext& call) {
  constexpr std::array<const char*, 6> kOverrides{
      "b2ContentDisposition", "b2ContentLanguage", "b2Expires",
      "b2CacheControl",       "b2ContentEncoding", "b2ContentType"};
  DownloadGrant grant{call.BucketArg().id, call.args.Text("fileNamePrefix"), {}, {}};
  RequireName(*call.key, grant.name_prefix);
  const int64_t seconds = call.args.Number("validDurationInSeconds");
  if (seconds < 1 || seconds > kMaxGrantSeconds) {
    throw BadRequest("validDurationInSeconds must be between 1 and 604800");
  }
  grant.expires = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  for (const char* const name : kOverrides) {
    if (call.args.Has(name)) grant.overrides.emplace_back(name, call.args.Text(name));
  }
  return {{"bucketId", grant.bucket_id},
          {"fileNamePrefix", grant.name_prefix},
          {"authorizationToken", call.access.IssueDownload(grant)}};
}

}  // namespace emulator
