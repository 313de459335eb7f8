#include "emulator/calls.h"

#include <algorithm>
#include <array>

#include "emulator/errors.h"

namespace emulator {
namespace {

constexpr std::array<Call, 22> kCalls{{
    {"b2_list_buckets", "listBuckets", false, false, ListBuckets},
    {"b2_create_bucket", "writeBuckets", false, true, CreateBucket},
    {"b2_update_bucket", "writeBuckets", false, true, UpdateBucket},
    {"b2_delete_bucket", "deleteBuckets", false, true, DeleteBucket},
    {"b2_list_file_names", "listFiles", false, false, ListFileNames},
    {"b2_list_file_versions", "listFiles", false, false, ListFileVersions},
    {"b2_list_unfinished_large_files", "listFiles", false, false, ListUnfinishedLargeFiles},
    {"b2_list_parts", "writeFiles", false, false, ListParts},
    {"b2_get_file_info", "readFiles", false, false, GetFileInfo},
    {"b2_get_upload_url", "writeFiles", true, false, GetUploadUrl},
    {"b2_hide_file", "writeFiles", false, true, HideFile},
    {"b2_delete_file_version", "deleteFiles", false, true, DeleteFileVersion},
    {"b2_copy_file", "writeFiles", true, true, CopyFile},
    {"b2_get_download_authorization", "shareFiles", false, false, GetDownloadAuthorization},
    {"b2_start_large_file", "writeFiles", true, true, StartLargeFile},
    {"b2_get_upload_part_url", "writeFiles", true, false, GetUploadPartUrl},
    {"b2_finish_large_file", "writeFiles", true, true, FinishLargeFile},
    {"b2_cancel_large_file", "writeFiles", false, true, CancelLargeFile},
    {"b2_copy_part", "writeFiles", true, true, CopyPart},
    {"b2_list_keys", "listKeys", false, false, ListKeys},
    {"b2_create_key", "writeKeys", false, true, CreateKey},
    {"b2_delete_key", "deleteKeys", false, true, DeleteKey},
}};

}  // namespace

const Call* FindCall(std::string_view name) {
  const auto* const found =
      std::find_if(kCalls.begin(), kCalls.end(), [&](const Call& row) { return row.name == name; });
  return found == kCalls.end() ? nullptr : found;
}

std::string UploadUrl(const CallContext& call, std::string_view call_name,
                      const UploadTicket& ticket) {
  const std::string base =
      call.base.empty() ? "https://pod-000-1001-00.backblazeb2.com" : call.base;
  return base + "/b2api/v" + std::to_string(call.version) + "/" + std::string(call_name) + "/" +
         ticket.path;
}

Bucket CallContext::BucketArg() const {
  const std::string bucket_id = args.Text("bucketId");
  RequireBucket(*key, bucket_id);
  return store.GetBucket(bucket_id);
}

void CallContext::CheckAccount() const {
  const std::string account_id = args.Text("accountId");
  if (account_id != access.account_id()) {
    throw BadRequest("Account " + account_id + " does not exist");
  }
}

void CallContext::CheckReach(const Version& file) const {
  RequireBucket(*key, *file.bucket_id);
  RequireName(*key, file.name);
}

}  // namespace emulator
