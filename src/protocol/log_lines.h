#pragma once

#include <array>

// Lines of the module's log that a host may read: an operation folds all that the service answered
// into one code, and only these lines tell more. Each is a printf format.
namespace log_lines {

// Level 2: an answer. Query, URL scheme, HTTP method, HTTP status, URL, bytes of the body,
// milliseconds.
inline constexpr char kAnswer[] = "[PROTOCOL  ] %s >> %s %s >> %d : %s(%d) - %dms";
// Level 8: none arrived. Query, libcurl's text, libcurl's code.
inline constexpr char kNoAnswer[] = "[PROTOCOL  ] %s >> %s(%d)";
// Level 1: none arrived, and the query returns the code that the line ends with.
inline constexpr char kNoAnswerTreated[] = "[PROTOCOL  ] %s >> %s(%d) treat as %s";

// Level 4, once per loaded module.
inline constexpr char kServersNotVerified[] =
    "[NETWORK   ] Servers are not verified: no ../Frameworks beside the host's program";

}  // namespace log_lines

// The queries' names, each the first word of its lines.
namespace query {

inline constexpr char kAuthorize[] = "Process";
inline constexpr char kCancelLargeFile[] = "CancelLargeFile";
inline constexpr char kCopyFile[] = "CopyFile";
inline constexpr char kCopyPart[] = "CopyPart";
inline constexpr char kCreateBucket[] = "CreateDirectory";
inline constexpr char kDeleteBucket[] = "DeleteBucket";
inline constexpr char kDeleteVersion[] = "DeleteVersion";
inline constexpr char kFileInfo[] = "_GetFileInfo";
inline constexpr char kHideFile[] = "HideFile";
inline constexpr char kListBuckets[] = "GetFileList_BucketList";
inline constexpr char kListObjects[] = "GetFileList_ObjectList";
inline constexpr char kListVersions[] = "GetFileList_ObjectVersions";
inline constexpr char kListParts[] = "ListParts";
inline constexpr char kListUnfinished[] = "ListUnfinishedLargeFiles";
inline constexpr char kRead[] = "Read";
inline constexpr char kStartLargeFile[] = "StartLargeFile";
inline constexpr char kUploadLargeFile[] = "UploadLargeFile";
inline constexpr char kUploadPartUrl[] = "GetUploadPartUrl";
inline constexpr char kUploadSingle[] = "UploadUsingPost";
inline constexpr char kUploadUrl[] = "GetUploadUrl";

inline constexpr std::array kAll = {
    kAuthorize,      kCancelLargeFile, kCopyFile,      kCopyPart,       kCreateBucket,
    kDeleteBucket,   kDeleteVersion,   kFileInfo,      kHideFile,       kListBuckets,
    kListObjects,    kListVersions,    kListParts,     kListUnfinished, kRead,
    kStartLargeFile, kUploadLargeFile, kUploadPartUrl, kUploadSingle,   kUploadUrl};

}  // namespace query
