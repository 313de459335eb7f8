#include <algorithm>
#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_details.h"
#include "b2/file_records.h"
#include "b2/guarded.h"
#include "b2/paths.h"
#include "protocol/file_list.h"
#include "protocol/log.h"
#include "protocol/log_lines.h"

namespace {

void CopyDirectory(const _FS_FILE_V2& found, _FS_FILE_V2& record) {
  record.id = found.id;
  record.type = found.type;
  record.name = found.name;
  record.size = 0;
  SetTimes(record, found.first_time);
}

void SetRoot(_FS_FILE_V2& record) {
  record.id.clear();
  record.type = FS_DIRECTORY;
  record.name.clear();
  record.size = 0;
}

AERROR ReadFileInfo(const Options& options, JsonObject& answer, _FS_FILE_V2& record, bool full) {
  // A host keeps the relative name of its listing; only the version listing wants the stored one.
  if (full) record.name = static_cast<std::string>(Required(answer, "fileName"));
  record.size = ContentLength(answer);
  SetStored(options, record, answer);
  return AERROR::SUCCESS;
}

}  // namespace

AERROR BackBlazeB2::GetFileInfo(const char* id, _FS_FILE_V2* out, char** message) {
  return Guarded(AERROR::FAILED, [&] {
    const auto options = options_.Get();
    if (options->find_by_name && id != nullptr && out != nullptr && !out->name.empty() &&
        (out->type & FS_DIRECTORY) == 0) {
      return NamedFileInfo(*options, SplitNormalized(id), *out);
    }
    if (options->view != View::kUnfinished || id == nullptr || out == nullptr)
      return _GetFileInfo(*options, id, out, message, false);
    const ItemPath item = SplitNormalized(id);
    const bool is_file = !item.rest.empty() && (out->type & FS_DIRECTORY) == 0;
    return is_file ? UnfinishedInfo(*options, item, *out)
                   : _GetFileInfo(*options, id, out, message, false);
  });
}

AERROR BackBlazeB2::_GetFileInfo(const Options& options, const char* path, _FS_FILE_V2* record,
                                 char** msg, bool full) {
  if (path == nullptr || record == nullptr) return AERROR::FAILED;
  __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s id [%s]", "_GetFileInfo", path);
  if (*path == '\0') {
    SetRoot(*record);
    return AERROR::SUCCESS;
  }
  const auto [container, rest] = SplitIdentifier(path);
  if (container.empty()) return AERROR::FAILED;
  if (rest.empty()) return BucketInfo(options, container, *record, msg);
  if ((record->type & FS_DIRECTORY) != 0) return FolderInfo(options, path, *record);
  return StoredFileInfo(options, rest, *record, full);
}

AERROR BackBlazeB2::BucketInfo(const Options& options, const std::string& container,
                               _FS_FILE_V2& record, char** msg) {
  FileList buckets;
  const AERROR result = GetFileList_BucketList(options, "", &buckets, msg);
  if (result != AERROR::SUCCESS) return result;
  const auto& files = buckets.GetFileList();
  const auto found = std::find_if(files.begin(), files.end(),
                                  [&](const auto& bucket) { return bucket->id == container; });
  if (found == files.end()) return AERROR::FAILED;
  CopyDirectory(**found, record);
  return AERROR::SUCCESS;
}

// Only the marker is looked for: a folder that exists through its files alone is not found.
AERROR BackBlazeB2::FolderInfo(const Options& options, const char* path, _FS_FILE_V2& record) {
  FileList markers;
  const std::string marker = std::string(path) + kMarkerSuffix;
  const AERROR result = GetFileList_ObjectList(options, marker.c_str(), &markers, nullptr, "");
  if (result != AERROR::SUCCESS) return result;
  if (markers.GetFileList().empty()) return AERROR::FAILED;
  CopyDirectory(*markers.GetFileList().front(), record);
  return AERROR::SUCCESS;
}

// The first of the names that begin with it is the name itself, if there is such a file.
AERROR BackBlazeB2::NamedFileInfo(const Options& options, const ItemPath& folder,
                                  _FS_FILE_V2& record) {
  BindQueryLogger(options.query_logger);
  if (folder.container.empty()) return AERROR::FAILED;
  const std::string name = folder.rest.empty() ? record.name : folder.rest + "/" + record.name;
  const auto body = [&] {
    JsonObject request(R"({"maxFileCount":1})");
    request["bucketId"] = folder.container;
    request["startFileName"] = name;
    request["prefix"] = name;
    return request;
  };
  bool found = false;
  const auto read = [&](JsonObject& answer) {
    JsonObject files = Required(answer, "files");
    if (files.GetArraySize() == 0) return AERROR::SUCCESS;
    JsonObject file = files[0];
    found = static_cast<std::string>(Required(file, "fileName")) == name;
    if (!found) return AERROR::SUCCESS;
    record.id = ItemId(folder.container, Required(file, "fileId"));
    record.size = ContentLength(file);
    SetStored(options, record, file);
    return AERROR::SUCCESS;
  };
  const AERROR result =
      Query(options, JsonCall(query::kListObjects, call::kListFileNames, body), OnSuccess(read));
  return result == AERROR::SUCCESS && !found ? AERROR::FILE_NOT_FOUND : result;
}

AERROR BackBlazeB2::StoredFileInfo(const Options& options, const std::string& file_id,
                                   _FS_FILE_V2& record, bool full) {
  BindQueryLogger(options.query_logger);
  const auto body = [&] { return Members({{"fileId", file_id}}); };
  HandlerMap on_code;
  // Only a deletion asks for the full name, and with these options it has to tell a file that is
  // gone from a look-up that failed.
  const bool careful = options.exact_delete && options.delete_if_unchanged;
  if (full && (careful || options.view == View::kVersions)) {
    on_code[404] = {[](_CURLRTN&) { return AERROR::FILE_NOT_FOUND; }, ""};
  }
  return Query(
      options, JsonCall(query::kFileInfo, call::kGetFileInfo, body),
      OnSuccess([&](JsonObject& answer) { return ReadFileInfo(options, answer, record, full); }),
      std::move(on_code));
}
