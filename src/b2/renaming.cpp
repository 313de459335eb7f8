#include "b2/backblaze_b2.h"
#include "b2/guarded.h"
#include "protocol/log.h"

// The service has no renaming, only copying and deleting.

namespace {

const char* NameOf(const _FS_FILE_V2* record) {
  return record == nullptr ? Shown(nullptr) : record->name.c_str();
}

AERROR RefuseMove(const char* name, const char* from, const char* to, const _FS_FILE_V2* record) {
  return Guarded(AERROR::NOT_SUPPORTED, [&] {
    __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s id [%s], target [%s] file->filename[%s]",
             name, Shown(from), Shown(to), NameOf(record));
    return AERROR::NOT_SUPPORTED;
  });
}

}  // namespace

AERROR BackBlazeB2::Rename(const char* from, const char* to, _FS_FILE_V2* out, char**) {
  return Guarded(AERROR::NOT_SUPPORTED, [&] {
    __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s id [%s], target [%s], filename [%s]",
             "Rename", Shown(from), Shown(to), NameOf(out));
    return AERROR::NOT_SUPPORTED;
  });
}

AERROR BackBlazeB2::Move(const char* from, const char* to, _FS_FILE_V2* out, char**) {
  return RefuseMove("Move", from, to, out);
}

AERROR BackBlazeB2::MoveDir(const char* from, const char* to, _FS_FILE_V2* out, char**) {
  return RefuseMove("MoveDir", from, to, out);
}
