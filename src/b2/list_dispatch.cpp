#include "b2/backblaze_b2.h"
#include "b2/guarded.h"
#include "b2/paths.h"
#include "protocol/log.h"

AERROR BackBlazeB2::GetFileList(const char* id, IFileList* sink, char** message) {
  return Guarded(AERROR::FAILED, [&] {
    if (id == nullptr || sink == nullptr) return AERROR::FAILED;
    __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s id: [%s]", "GetFileList", id);
    const auto options = options_.Get();
    if (SplitIdentifier(id).container.empty())
      return GetFileList_BucketList(*options, id, sink, message);
    if (options->view == View::kVersions) return ListVersionsOf(*options, id, *sink);
    if (options->view == View::kUnfinished) return ListUnfinishedOf(*options, id, *sink);
    return GetFileList_ObjectList(*options, id, sink, message, "/");
  });
}

AERROR BackBlazeB2::GetFileFullName(const Options& options, const char* path,
                                    std::string& full_name, char** msg) {
  _FS_FILE_V2 record;
  const AERROR result = _GetFileInfo(options, path, &record, msg, true);
  full_name = record.name;
  return result;
}
