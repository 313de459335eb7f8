#include <functional>
#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_details.h"
#include "b2/file_records.h"
#include "b2/page_watch.h"
#include "b2/paths.h"
#include "protocol/log_lines.h"

namespace {

// Paging by the next name alone lists a name from its first version again when a page ends inside
// its versions, so that some come twice; hosts that ask for exact deletion page by file ID too, and
// so does the view of versions.
struct VersionPages {
  std::string container;
  std::string prefix;
  const char* delimiter;  // null: none
  bool by_file_id;        // page by name and file ID
  bool only_exact;        // only versions of the very name that the prefix is
  PageWatch watch;
  std::function<void(JsonObject& file, const std::string& name)> add;
  std::string next_file_name = {};
  std::string next_file_id = {};

  JsonObject Body() const {
    JsonObject request(R"({"maxFileCount":1000})");
    request["bucketId"] = container;
    request["startFileName"] = next_file_name;
    request["prefix"] = prefix;
    if (delimiter != nullptr) request["delimiter"] = std::string(delimiter);
    if (by_file_id && !next_file_id.empty()) request["startFileId"] = next_file_id;
    return request;
  }

  AERROR Read(JsonObject& answer) {
    JsonObject files = Required(answer, "files");
    const int count = static_cast<int>(files.GetArraySize());
    for (int i = 0; i < count; ++i) {
      JsonObject file = files[i];
      const std::string name = Required(file, "fileName");
      if (!only_exact || name == prefix) add(file, name);
    }
    next_file_name = static_cast<std::string>(answer["nextFileName"]);
    if (by_file_id) next_file_id = static_cast<std::string>(answer["nextFileId"]);
    // Names come in order and the prefix itself first.
    if (only_exact && next_file_name != prefix) return AERROR::SUCCESS;
    if (next_file_name.empty() || !by_file_id) return watch.Next(next_file_name, count);
    return watch.Next(next_file_name + '\0' + next_file_id, count);
  }
};

// One that is still being uploaded is no version yet.
bool IsStarted(JsonObject& file) { return static_cast<std::string>(file["action"]) == "start"; }

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
  const auto add = [=](JsonObject& file, const std::string& name) {
    _FS_FILE_V2 record;
    record.name = name;
    record.id = static_cast<std::string>(Required(file, "fileId"));
    // The newest comes first.
    if (newest_id != nullptr && newest_id->empty() && !IsStarted(file)) *newest_id = record.id;
    record.size = ContentLength(file);
    SetUploadTime(record, file);
    AddTo(*list, record);
  };
  VersionPages pages{std::move(container),
                     std::move(prefix),
                     nullptr,
                     options.exact_delete,
                     options.exact_delete && single,
                     PageWatch(options.strict_answers, query::kListVersions),
                     add};
  return Query(
      options,
      JsonCall(query::kListVersions, call::kListFileVersions, [&pages] { return pages.Body(); }),
      OnSuccess([&pages](JsonObject& answer) { return pages.Read(answer); }));
}

AERROR BackBlazeB2::ListVersionsOf(const Options& options, const char* path,
                                   IFileList& list) const {
  const ItemPath folder = SplitNormalized(path);
  const std::string prefix = folder.rest.empty() ? "" : folder.rest + "/";
  const auto add = [&](JsonObject& file, const std::string& name) {
    std::string last = name.substr(prefix.size());
    if (last.ends_with('/')) {
      last.pop_back();
      AddTo(list, DirectoryRecord(ItemId(folder.container, prefix + last), last));
      return;
    }
    if (IsStarted(file)) return;
    _FS_FILE_V2 record;
    record.id = ItemId(folder.container, Required(file, "fileId"));
    record.type = FS_FILE;
    record.size = ContentLength(file);
    record.name = std::move(last);
    SetStored(options, record, file);
    AddTo(list, record);
  };
  BindQueryLogger(options.query_logger);
  VersionPages pages{folder.container,
                     prefix + options.view_name,
                     "/",
                     true,
                     !options.view_name.empty(),
                     PageWatch(true, query::kListVersions),
                     add};
  return Query(
      options,
      JsonCall(query::kListVersions, call::kListFileVersions, [&pages] { return pages.Body(); }),
      OnSuccess([&pages](JsonObject& answer) { return pages.Read(answer); }));
}
