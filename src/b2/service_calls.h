#pragma once

// The service's names for its calls; a call's URL is a base URL + kCallPath + name.
namespace call {

inline constexpr char kCallPath[] = "/b2api/v1/";

inline constexpr char kAuthorizeAccount[] = "b2_authorize_account";
inline constexpr char kCopyFile[] = "b2_copy_file";
inline constexpr char kCopyPart[] = "b2_copy_part";
inline constexpr char kCancelLargeFile[] = "b2_cancel_large_file";
inline constexpr char kCreateBucket[] = "b2_create_bucket";
inline constexpr char kDeleteBucket[] = "b2_delete_bucket";
inline constexpr char kDeleteFileVersion[] = "b2_delete_file_version";
inline constexpr char kDownloadFileById[] = "b2_download_file_by_id";
inline constexpr char kFinishLargeFile[] = "b2_finish_large_file";
inline constexpr char kGetFileInfo[] = "b2_get_file_info";
inline constexpr char kGetUploadPartUrl[] = "b2_get_upload_part_url";
inline constexpr char kGetUploadUrl[] = "b2_get_upload_url";
inline constexpr char kHideFile[] = "b2_hide_file";
inline constexpr char kListBuckets[] = "b2_list_buckets";
inline constexpr char kListFileNames[] = "b2_list_file_names";
inline constexpr char kListFileVersions[] = "b2_list_file_versions";
inline constexpr char kListParts[] = "b2_list_parts";
inline constexpr char kListUnfinishedLargeFiles[] = "b2_list_unfinished_large_files";
inline constexpr char kStartLargeFile[] = "b2_start_large_file";

}  // namespace call
