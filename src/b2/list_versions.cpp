#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_records.h"
#include "b2/page_watch.h"
#include "b2/paths.h"
#include "protocol/log_lines.h"

namespace {

// Paging by the next name alone lists a name from its first version again when a page ends inside
// its versions, so that some come twice; hosts that ask for exact deletion page by file ID too.
struct VersionState {
  std::string container;
  std::string prefix;
  IFileList* list;
  bool by_file_id;  // page by name and file ID
  bool only_exact;  // only versions of the very name that the prefix is
  PageWatch watch;
  std::string* newest_id;  // null: not wanted; empty until one is listed
  std::string next_file_name;
  std::string next_file_id;

  JsonObject Body() const {
    JsonObject request(R"({"maxFileCount":1000})");
    request["bucketId"] = container;
    request["startFileName"] = next_file_name;
    request["prefix"] = prefix;
    if (by_file_id && !next_file_id.empty()) request["startFileId"] = next_file_id;
    return request;
  }

  AERROR Read(JsonObject& answer) {
    JsonObject files = Required(answer, "files");
    const int count = static_cast<int>(files.GetArraySize());
    for (int i = 0; i < count; ++i) {
      JsonObject file = files[i];
      Add(file);
    }
    next_file_name = static_cast<std::string>(answer["nextFileName"]);
    if (by_file_id) next_file_id = static_cast<std::string>(answer["nextFileId"]);
    // Names come in order and the prefix itself first.
    if (only_exact && next_file_name != prefix) return AERROR::SUCCESS;
    if (next_file_name.empty() || !by_file_id) return watch.Next(next_file_name, count);
    return watch.Next(next_file_name + '\0' + next_file_id, count);
  }

 private:
  void Add(JsonObject& file) {
    _FS_FILE_V2 record;
    record.name = static_cast<std::string>(Required(file, "fileName"));
    if (only_exact && record.name != prefix) return;
    record.id = static_cast<std::string>(Required(file, "fileId"));
    // The newest comes first; one that is still being uploaded is none yet.
    if (newest_id != nullptr && newest_id->empty() &&
        static_cast<std::string>(file["action"]) != "start") {
      *newest_id = record.id;
    }
    record.size = ContentLength(file);
    SetUploadTime(record, file);
    AddTo(*list, record);
  }
};

}  // namespace

AERROR BackBlazeB2::GetFileList_ObjectVersions(const Options& options, const char* path,
                                               IFileList* list, bool single, char** msg,
                                               std::string* newest_id) {
  if (path == nullptr) return AERROR::FAILED;
  auto [container, prefix] = SplitNormalized(path);
  if (container.empty()) return AERROR::FAILED;
  if (single) {
    const AERROR result = GetFileFullName(options, path, prefix, msg);
    if (result != AERROR::SUCCESS) return result;
  } else if (!prefix.empty()) {
    prefix += '/';
  }

  BindQueryLogger(options.query_logger);
  VersionState state{std::move(container),
                     std::move(prefix),
                     list,
                     options.exact_delete,
                     options.exact_delete && single,
                     PageWatch(options.strict_answers, query::kListVersions),
                     newest_id,
                     "",
                     ""};
  return Query(
      options,
      JsonCall(query::kListVersions, call::kListFileVersions, [&state] { return state.Body(); }),
      OnSuccess([&state](JsonObject& answer) { return state.Read(answer); }));
}
