#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_details.h"
#include "b2/file_records.h"
#include "b2/page_watch.h"
#include "b2/paths.h"
#include "protocol/log_lines.h"

// Pages ride on the engine's retry: the reader keeps the service's cursor and asks for another
// attempt while there is one, so a listing has no loop of its own.
struct BackBlazeB2::ListState {
  const Options& options;
  std::string container;
  std::string prefix;
  std::string delimiter;
  std::string next_file_name;
  IFileList* list;
  PageWatch watch;
  _FS_FILE_V2& record;  // the latest file's; used again, because making one allocates memory

  JsonObject Body() const {
    JsonObject request(R"({"maxFileCount":1000})");
    request["bucketId"] = container;
    request["startFileName"] = next_file_name;
    request["prefix"] = prefix;
    if (!delimiter.empty()) request["delimiter"] = delimiter;
    return request;
  }

  AERROR Read(JsonObject& answer) {
    JsonObject files = Required(answer, "files");
    const bool marker = prefix.ends_with(kMarkerSuffix);
    const int count = static_cast<int>(files.GetArraySize());
    for (int i = 0; i < count; ++i) {
      JsonObject file = files[i];
      marker ? AddMarker(file) : AddChild(file);
    }
    next_file_name = static_cast<std::string>(answer["nextFileName"]);
    return watch.Next(next_file_name, count);
  }

 private:
  static std::string FileName(JsonObject& file) {
    std::string name = Required(file, "fileName");
    if (name.ends_with("/")) name.pop_back();
    return name;
  }

  void AddChild(JsonObject& file) {
    const std::string full_name = FileName(file);
    std::string name = full_name.substr(prefix.size());
    // Every action but this one stands for a folder.
    if (static_cast<std::string>(file["action"]) != "upload") {
      AddTo(*list, DirectoryRecord(ItemId(container, full_name), std::move(name)));
      return;
    }
    if (delimiter == "/" && full_name.ends_with(".bzEmpty")) return;
    record.id = ItemId(container, Required(file, "fileId"));
    record.type = FS_FILE;
    record.size = ContentLength(file);
    record.name = std::move(name);
    SetStored(options, record, file);
    AddTo(*list, record);
  }

  // The marker that was looked up stands for its folder.
  void AddMarker(JsonObject& file) {
    const std::string full_name = FileName(file);
    const std::string folder = full_name.substr(0, full_name.size() - sizeof kMarkerSuffix + 1);
    // Behind the first slash, not the last: hosts know a looked-up folder by this name.
    AddTo(*list, DirectoryRecord(ItemId(container, folder), folder.substr(folder.find('/') + 1)));
  }
};

AERROR BackBlazeB2::GetFileList_ObjectList(const Options& options, const char* path,
                                           IFileList* list, char**, std::string delimiter) {
  if (path == nullptr) return AERROR::FAILED;
  auto [container, prefix] = SplitNormalized(path);
  if (!prefix.empty() && delimiter == "/") prefix += '/';
  if (container.empty()) return AERROR::FAILED;

  BindQueryLogger(options.query_logger);
  _FS_FILE_V2 record;
  ListState state{options,
                  std::move(container),
                  std::move(prefix),
                  std::move(delimiter),
                  "",
                  list,
                  PageWatch(options.strict_answers, query::kListObjects),
                  record};
  return Query(
      options,
      JsonCall(query::kListObjects, call::kListFileNames, [&state] { return state.Body(); }),
      OnSuccess([&state](JsonObject& answer) { return state.Read(answer); }));
}
