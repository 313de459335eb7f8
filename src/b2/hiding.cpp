#include "b2/backblaze_b2.h"
#include "b2/file_records.h"
#include "b2/paths.h"
#include "protocol/log_lines.h"

// Deleting that can be undone: a hide marker becomes the newest version of a name, and every older
// one stays.

namespace {

// The service refuses to hide a name that shows nothing.
AERROR IsHiddenAlready(JsonObject& answer) {
  const std::string code = Required(answer, "code");
  return code == "already_hidden" || code == "no_such_file" ? AERROR::SUCCESS : AERROR::FAILED;
}

}  // namespace

AERROR BackBlazeB2::HideName(const Options& options, const ItemPath& object) {
  BindQueryLogger(options.query_logger);
  const auto body = [&] {
    return Members({{"bucketId", object.container}, {"fileName", object.rest}});
  };
  return Query(options, JsonCall(query::kHideFile, call::kHideFile, body), OnSuccess(),
               {{400, WithAnswer(IsHiddenAlready)}, {404, WithAnswer(IsHiddenAlready)}});
}

AERROR BackBlazeB2::HideFile(const Options& options, const _FS_FILE_V2& file, char** msg) {
  ItemPath object = SplitNormalized(file.id);
  if (options.exact_delete && options.delete_if_unchanged) {
    FileList versions;
    const AERROR result = ListUnchanged(options, file, versions, msg);
    if (result != AERROR::SUCCESS || versions.GetFileList().empty()) return result;
    object.rest = versions.GetFileList().front()->name;
  } else {
    const AERROR result = GetFileFullName(options, file.id.c_str(), object.rest, msg);
    if (result != AERROR::SUCCESS) return result;
  }
  return HideName(options, object);
}

// Stops at the first failure; the names after it stay. The folder's marker is one of them.
AERROR BackBlazeB2::HideFolder(const Options& options, const ItemPath& folder, char** msg) {
  const std::string prefix = folder.rest + "/";
  FileList names;
  const AERROR listed =
      GetFileList_ObjectList(options, ItemId(folder.container, prefix).c_str(), &names, msg, "");
  if (listed != AERROR::SUCCESS) return listed;
  for (const auto& name : names.GetFileList()) {
    const AERROR result = HideName(options, {folder.container, prefix + name->name});
    if (result != AERROR::SUCCESS) return result;
  }
  return AERROR::SUCCESS;
}
