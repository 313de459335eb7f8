#include <algorithm>
#include <cstdint>
#include <map>
#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_records.h"
#include "b2/guarded.h"
#include "b2/paths.h"
#include "b2/workers.h"
#include "base/thread_safety.h"
#include "protocol/log.h"
#include "util/sha1.h"

// The service has no renaming, only copying and deleting: hosts that ask for it get both in one.

namespace {

struct StoredFile {
  std::string id;
  std::uint64_t size = 0;
  std::string digest;  // of all that makes it this file; none when that is not known
};
using StoredFiles = std::map<std::string, StoredFile>;  // by name

// The files of a listing with details, in less memory than their records take.
class FolderContents final : public IFileList {
 public:
  AERROR AddFile(const _FS_FILE_V2* file) override {
    if (file->type != FS_FILE) return AERROR::SUCCESS;
    StoredFile& stored = files[file->name];
    stored.id = file->id;
    stored.size = file->size;
    if (file->texts.empty() || !file->texts.front().starts_with("sha1=")) return AERROR::SUCCESS;
    util::Sha1 digest;
    for (const std::string& text : file->texts) digest.Update(text.c_str(), text.size() + 1);
    stored.digest = digest.HexDigest();
    return AERROR::SUCCESS;
  }

  // The identifier of the same file under this name; none where there is none.
  std::string Find(const std::string& name, const StoredFile& file) const {
    const auto found = files.find(name);
    const bool same = found != files.end() && !file.digest.empty() &&
                      found->second.digest == file.digest && found->second.size == file.size;
    return same ? found->second.id : "";
  }

  StoredFiles files;
};

// Gives out the files, each once. For any number of threads.
class FileQueue {
 public:
  explicit FileQueue(const StoredFiles& files) : next_(files.begin()), end_(files.end()) {}

  const StoredFiles::value_type* Next() {
    const base::Lock lock(mutex_);
    return next_ == end_ ? nullptr : &*next_++;
  }

 private:
  base::Mutex mutex_;
  StoredFiles::const_iterator next_ B2_GUARDED_BY(mutex_);
  const StoredFiles::const_iterator end_;
};

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

AERROR BackBlazeB2::MoveFile(const Options& options, const char* id, const TargetOf& target_of,
                             _FS_FILE_V2& out, char** msg) {
  _FS_FILE_V2 source;
  const AERROR found = FindSource(options, id, source, msg);
  if (found != AERROR::SUCCESS) return found;
  const ItemPath target = target_of(source.name);
  return IsName(target) ? CopyAndDelete(options, source, target, out, msg)
                        : AERROR::INVALID_PARAMETER;
}

AERROR BackBlazeB2::Rename(const char* from, const char* to, _FS_FILE_V2* out, char** message) {
  return Guarded(AERROR::FAILED, [&] {
    __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s id [%s], target [%s], filename [%s]",
             "Rename", Shown(from), Shown(to), NameOf(out));
    const auto options = options_.Get();
    if (!options->server_copy) return AERROR::NOT_SUPPORTED;
    if (from == nullptr || to == nullptr || out == nullptr) return AERROR::INVALID_PARAMETER;
    const auto beside = [&](const std::string& old_name) {
      const bool leaves = std::string(to).find('/') != std::string::npos;
      return leaves ? ItemPath() : ItemPath{SplitNormalized(from).container, Stem(old_name) + to};
    };
    return MoveFile(*options, from, beside, *out, message);
  });
}

AERROR BackBlazeB2::Move(const char* from, const char* to, _FS_FILE_V2* out, char** message) {
  return Guarded(AERROR::FAILED, [&] {
    LogMove("Move", from, to, out);
    const auto options = options_.Get();
    if (!options->server_copy) return AERROR::NOT_SUPPORTED;
    if (from == nullptr || to == nullptr || out == nullptr) return AERROR::INVALID_PARAMETER;
    const auto inside = [&](const std::string& old_name) { return TargetIn(to, *out, old_name); };
    return MoveFile(*options, from, inside, *out, message);
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

// Stops at the first failure. What was moved is under the new name only, and what was copied is not
// copied again, so that a further call goes on with the rest.
AERROR BackBlazeB2::MoveNames(const Options& options, const ItemPath& folder,
                              const ItemPath& target, char** msg) {
  FolderContents from, to;
  Options detailed = options;
  detailed.file_details = true;
  for (const auto& [path, contents] : {std::pair{&folder, &from}, {&target, &to}}) {
    const std::string id = ItemId(path->container, path->rest + "/");
    const AERROR listed = GetFileList_ObjectList(detailed, id.c_str(), contents, msg, "");
    if (listed != AERROR::SUCCESS) return listed;
  }
  const int count = std::min(options.copy_connections, static_cast<int>(from.files.size()));
  Options share = options;
  share.copy_connections = std::max(1, options.copy_connections / std::max(count, 1));
  Workers workers;
  FileQueue queue(from.files);
  const auto move = [&](int, LogRelay& log) {
    while (!workers.failed()) {
      const auto* file = queue.Next();
      if (file == nullptr) break;
      const auto& [name, stored] = *file;
      _FS_FILE_V2 source;
      source.id = stored.id;
      source.name = folder.rest + "/" + name;
      source.size = stored.size;
      const ItemPath new_name{target.container, target.rest + "/" + name};
      const AERROR result = MoveName(share, source, new_name, to.Find(name, stored));
      if (result != AERROR::SUCCESS) return result;
      log.Release();
    }
    return AERROR::SUCCESS;
  };
  return workers.Run(count, move, [] {});
}

// The copy may have gone since it was listed.
AERROR BackBlazeB2::MoveName(const Options& options, const _FS_FILE_V2& source,
                             const ItemPath& target, const std::string& copy_id) {
  _FS_FILE_V2 copy;
  const bool is_there = !copy_id.empty() && StoredFileInfo(options, SplitNormalized(copy_id).rest,
                                                           copy, false) == AERROR::SUCCESS;
  return is_there ? DeleteSource(options, source, target, copy, nullptr)
                  : CopyAndDelete(options, source, target, copy, nullptr);
}
