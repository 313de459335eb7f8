#include "b2/backblaze_b2.h"
#include "b2/file_records.h"
#include "b2/guarded.h"
#include "b2/paths.h"
#include "protocol/log.h"

// The service has no renaming, only copying and deleting: hosts that ask for it get both in one.

namespace {

const char* NameOf(const _FS_FILE_V2* record) {
  return record == nullptr ? Shown(nullptr) : record->name.c_str();
}

void LogMove(const char* name, const char* from, const char* to, const _FS_FILE_V2* record) {
  __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s id [%s], target [%s] file->filename[%s]", name,
           Shown(from), Shown(to), NameOf(record));
}

std::string LastName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// What comes before the last name, its slash included.
std::string Stem(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }

// Where something goes that moves into the folder `id`, under the record's name if it has one.
ItemPath TargetIn(const char* id, const _FS_FILE_V2& record, const std::string& old_name) {
  return SplitNormalized(ItemId(id, record.name.empty() ? LastName(old_name) : record.name));
}

bool IsName(const ItemPath& target) {
  return !target.container.empty() && !target.rest.empty() && !target.rest.ends_with('/');
}

}  // namespace

AERROR BackBlazeB2::Rename(const char* from, const char* to, _FS_FILE_V2* out, char** message) {
  return Guarded(AERROR::FAILED, [&] {
    __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s id [%s], target [%s], filename [%s]",
             "Rename", Shown(from), Shown(to), NameOf(out));
    const auto options = options_.Get();
    if (!options->server_copy) return AERROR::NOT_SUPPORTED;
    if (from == nullptr || to == nullptr || out == nullptr) return AERROR::INVALID_PARAMETER;
    _FS_FILE_V2 source;
    const AERROR found = FindSource(*options, from, source, message);
    if (found != AERROR::SUCCESS) return found;
    const ItemPath target{SplitNormalized(from).container, Stem(source.name) + to};
    if (std::string(to).find('/') != std::string::npos || !IsName(target))
      return AERROR::INVALID_PARAMETER;
    return CopyAndDelete(*options, source, target, *out, message);
  });
}

AERROR BackBlazeB2::Move(const char* from, const char* to, _FS_FILE_V2* out, char** message) {
  return Guarded(AERROR::FAILED, [&] {
    LogMove("Move", from, to, out);
    const auto options = options_.Get();
    if (!options->server_copy) return AERROR::NOT_SUPPORTED;
    if (from == nullptr || to == nullptr || out == nullptr) return AERROR::INVALID_PARAMETER;
    _FS_FILE_V2 source;
    const AERROR found = FindSource(*options, from, source, message);
    if (found != AERROR::SUCCESS) return found;
    const ItemPath target = TargetIn(to, *out, source.name);
    if (!IsName(target)) return AERROR::INVALID_PARAMETER;
    return CopyAndDelete(*options, source, target, *out, message);
  });
}

AERROR BackBlazeB2::MoveDir(const char* from, const char* to, _FS_FILE_V2* out, char** message) {
  return Guarded(AERROR::FAILED, [&] {
    LogMove("MoveDir", from, to, out);
    const auto options = options_.Get();
    if (!options->server_copy) return AERROR::NOT_SUPPORTED;
    if (from == nullptr || to == nullptr || out == nullptr) return AERROR::INVALID_PARAMETER;
    const ItemPath folder = SplitNormalized(from);
    const ItemPath target = TargetIn(to, *out, folder.rest);
    const bool inside =
        target.container == folder.container && (target.rest + "/").starts_with(folder.rest + "/");
    if (folder.rest.empty() || !IsName(target) || inside) return AERROR::INVALID_PARAMETER;
    const AERROR result = MoveNames(*options, folder, target, message);
    if (result == AERROR::SUCCESS) out->id = ItemId(target.container, target.rest);
    return result;
  });
}

// Stops at the first failure. What was moved is under the new name only, so that a further call
// goes on with the rest.
AERROR BackBlazeB2::MoveNames(const Options& options, const ItemPath& folder,
                              const ItemPath& target, char** msg) {
  const std::string prefix = folder.rest + "/";
  FileList names;
  const AERROR listed =
      GetFileList_ObjectList(options, ItemId(folder.container, prefix).c_str(), &names, msg, "");
  if (listed != AERROR::SUCCESS) return listed;
  for (const auto& file : names.GetFileList()) {
    _FS_FILE_V2 source = *file;
    _FS_FILE_V2 moved;
    source.name = prefix + file->name;
    const ItemPath name{target.container, target.rest + "/" + file->name};
    const AERROR result = CopyAndDelete(options, source, name, moved, msg);
    if (result != AERROR::SUCCESS) return result;
  }
  return AERROR::SUCCESS;
}
