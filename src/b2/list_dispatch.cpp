#include "b2/backblaze_b2.h"
#include "b2/guarded.h"
#include "b2/paths.h"
#include "protocol/log.h"

AERROR BackBlazeB2::GetFileList(const char* id, IFileList* sink, char** message) {
  return Guarded(AERROR::FAILED, [&] {
    if (id == nullptr || sink == nullptr) return AERROR::FAILED;
    __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s id: [%s]", "GetFileList", id);
    if (SplitIdentifier(id).container.empty()) return GetFileList_BucketList(id, sink, message);
    return GetFileList_ObjectList(id, sink, message, "/");
  });
}

AERROR BackBlazeB2::GetFileFullName(const char* path, std::string& full_name, char** msg) {
  _FS_FILE_V2 record;
  const AERROR result = _GetFileInfo(path, &record, msg, true);
  full_name = record.name;
  return result;
}
