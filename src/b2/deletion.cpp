#include "b2/backblaze_b2.h"
#include "b2/guarded.h"
#include "b2/paths.h"
#include "protocol/file_list.h"
#include "protocol/log.h"
#include "protocol/log_lines.h"

namespace {

void LogDeletion(const char* name, const _FS_FILE_V2& record) {
  __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s filename [%s], id [%s]", name,
           record.name.c_str(), record.id.c_str());
}

}  // namespace

// A failed listing leaves nothing, or only a part, to delete, and is not reported.
AERROR BackBlazeB2::Delete(_FS_FILE_V2* file, char** message) {
  return Guarded(AERROR::FAILED, [&] {
    if (file == nullptr) return AERROR::FAILED;
    LogDeletion("Delete", *file);
    const auto options = options_.Get();
    if (options->view == View::kVersions) return DeleteThisVersion(*options, *file, message);
    if (options->view == View::kUnfinished)
      return DiscardLargeFile(*options, SplitNormalized(file->id).rest, {});
    if (options->hide_on_delete) return HideFile(*options, *file, message);
    if (options->exact_delete && options->delete_if_unchanged)
      return DeleteUnchanged(*options, *file, message);
    FileList versions;
    GetFileList_ObjectVersions(*options, file->id.c_str(), &versions, true, message);
    return DeleteVersions(*options, versions, message);
  });
}

// What is gone already is deleted.
AERROR BackBlazeB2::DeleteThisVersion(const Options& options, const _FS_FILE_V2& version,
                                      char** msg) {
  std::string name;
  const AERROR found = GetFileFullName(options, version.id.c_str(), name, msg);
  if (found == AERROR::FILE_NOT_FOUND) return AERROR::SUCCESS;
  return found == AERROR::SUCCESS
             ? DeleteVersion(options, SplitNormalized(version.id).rest, name, msg)
             : found;
}

// Empty when the file is gone.
AERROR BackBlazeB2::ListUnchanged(const Options& options, const _FS_FILE_V2& file,
                                  FileList& versions, char** msg) {
  std::string newest_id;
  const AERROR listed =
      GetFileList_ObjectVersions(options, file.id.c_str(), &versions, true, msg, &newest_id);
  if (listed == AERROR::FILE_NOT_FOUND) return AERROR::SUCCESS;
  if (listed != AERROR::SUCCESS) return listed;
  if (versions.GetFileList().empty()) return AERROR::SUCCESS;
  if (newest_id == SplitNormalized(file.id).rest) return AERROR::SUCCESS;
  __LOG__A(logger, LOGLEVEL_ERROR, "[PROTOCOL  ] %s >> The newest version is [%s]", "Delete",
           newest_id.c_str());
  return AERROR::SHARING_VIOLATION;
}

// The newest version goes last: when a deletion fails, the name still shows what it showed, and not
// an older version.
AERROR BackBlazeB2::DeleteUnchanged(const Options& options, const _FS_FILE_V2& file, char** msg) {
  FileList versions;
  const AERROR listed = ListUnchanged(options, file, versions, msg);
  if (listed != AERROR::SUCCESS) return listed;
  const auto& records = versions.GetFileList();
  for (auto version = records.rbegin(); version != records.rend(); ++version) {
    const AERROR result = DeleteVersion(options, (*version)->id, (*version)->name, msg);
    if (result != AERROR::SUCCESS) return result;
  }
  return AERROR::SUCCESS;
}

AERROR BackBlazeB2::DeleteDirectory(_FS_FILE_V2* dir, char** message) {
  return Guarded(AERROR::FAILED, [&] {
    if (dir == nullptr) return AERROR::FAILED;
    LogDeletion("DeleteDirectory", *dir);
    const auto [container, rest] = SplitIdentifier(dir->id);
    if (container.empty()) return AERROR::FAILED;
    const auto options = options_.Get();
    if (options->view == View::kUnfinished) return AERROR::NOT_SUPPORTED;
    return rest.empty() ? DeleteBucket(*options, container, message)
                        : DeleteFolder(*options, dir, message);
  });
}

AERROR BackBlazeB2::DeleteFolder(const Options& options, _FS_FILE_V2* record, char** msg) {
  if (!options.enable_delete_folder) {
    __LOG__A(logger, LOGLEVEL_WARNING, "[PROTOCOL  ] %s not allowed by user", "DeleteFolder");
    return AERROR::ACCESS_DENIED;
  }
  if (options.hide_on_delete) return HideFolder(options, SplitIdentifier(record->id), msg);
  FileList versions;
  const AERROR result =
      GetFileList_ObjectVersions(options, record->id.c_str(), &versions, false, msg);
  return result == AERROR::SUCCESS ? DeleteVersions(options, versions, msg) : result;
}

// Stops at the first failure; the versions after it stay.
AERROR BackBlazeB2::DeleteVersions(const Options& options, FileList& versions, char** msg) {
  for (const auto& version : versions.GetFileList()) {
    const AERROR result = DeleteVersion(options, version->id, version->name, msg);
    if (result != AERROR::SUCCESS) return result;
  }
  return AERROR::SUCCESS;
}

AERROR BackBlazeB2::DeleteVersion(const Options& options, std::string file_id,
                                  std::string file_name, char**) {
  BindQueryLogger(options.query_logger);
  const auto body = [&] { return Members({{"fileId", file_id}, {"fileName", file_name}}); };
  return Query(options, JsonCall(query::kDeleteVersion, call::kDeleteFileVersion, body),
               OnSuccess());
}

AERROR BackBlazeB2::DeleteBucket(const Options& options, std::string bucket_id, char**) {
  __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s id [%s]", "DeleteBucket", bucket_id.c_str());
  BindQueryLogger(options.query_logger);
  const auto body = [&] {
    return Members({{"accountId", options.account_id}, {"bucketId", bucket_id}});
  };
  return Query(options, JsonCall(query::kDeleteBucket, call::kDeleteBucket, body), OnSuccess());
}
