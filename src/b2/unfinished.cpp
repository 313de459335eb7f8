#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_details.h"
#include "b2/file_records.h"
#include "b2/page_watch.h"
#include "b2/repeats.h"
#include "protocol/file_list.h"
#include "protocol/log_lines.h"

// Large files that were started and neither finished nor canceled. The service bills their parts.

AERROR BackBlazeB2::StartLargeFile(const Stop& stop, const Options& options, JsonObject start,
                                   bool stays, std::string& file_id) {
  bool doubtful = false;
  const auto doubt = [&doubtful](_CURLRTN&) {
    doubtful = true;
    return AERROR::FAILED;
  };
  HandlerMap on_range = OnSuccess([&file_id](JsonObject& answer) {
    file_id = static_cast<std::string>(Required(answer, "fileId"));
    return AERROR::SUCCESS;
  });
  on_range[500] = {doubt, ""};
  const auto send = [&](const Request& request) {
    AimAt(*request, api_url_, call::kStartLargeFile);
    Authorize(*request, authorization_token_);
    return request->PerformPostOnce(start.ToText());  // one that is started twice stays behind once
  };
  const AERROR result = QueryUnless(stop, options, {send, query::kStartLargeFile},
                                    std::move(on_range), {{408, {doubt, ""}}}, PassingFailures());
  if ((doubtful || Passes(result)) && !stays) CancelLostStart(stop, options, start);
  return result == AERROR::RETRY ? AERROR::FAILED : result;
}

// Only one that nobody works on here, and that has no part yet, as one that was just started.
void BackBlazeB2::CancelLostStart(const Stop& stop, const Options& options,
                                  const JsonObject& start) {
  std::vector<std::string> file_ids;
  if (ListUnfinished(stop, options, start, file_ids) != AERROR::SUCCESS) return;
  if (file_ids.empty() || !large_files_.Add(file_ids.front())) return;
  StoredParts parts;
  const bool lost =
      ListParts(stop, options, file_ids.front(), parts) == AERROR::SUCCESS && parts.empty();
  if (lost) DiscardLargeFile(options, file_ids.front(), stop);
  large_files_.Remove(file_ids.front());
}

AERROR BackBlazeB2::ForEachUnfinished(const Stop& stop, const Options& options,
                                      const ItemPath& prefix,
                                      const std::function<void(JsonObject&)>& add) {
  std::string next;
  PageWatch watch(true, query::kListUnfinished);
  const auto body = [&] {
    JsonObject request(R"({"maxFileCount":100})");
    request["bucketId"] = prefix.container;
    request["namePrefix"] = prefix.rest;
    if (!next.empty()) request["startFileId"] = next;
    return request;
  };
  const auto read = [&](JsonObject& answer) {
    JsonObject files = Required(answer, "files");
    const int count = files.GetArraySize();
    for (int i = 0; i < count; ++i) {
      JsonObject file = files[i];
      add(file);
    }
    next = static_cast<std::string>(answer["nextFileId"]);
    return watch.Next(next, count);
  };
  return QueryUnless(stop, options,
                     JsonCall(query::kListUnfinished, call::kListUnfinishedLargeFiles, body),
                     OnSuccess(read));
}

// One that is finished or canceled between the two calls is not shown.
AERROR BackBlazeB2::ListUnfinishedOf(const Options& options, const char* path, IFileList& list) {
  const ItemPath folder = SplitNormalized(path);
  const std::string prefix = folder.rest.empty() ? "" : folder.rest + "/";
  FileList found;
  const auto add = [&](JsonObject& file) {
    const std::string name = Required(file, "fileName");
    if (!options.view_name.empty() && name != prefix + options.view_name) return;
    _FS_FILE_V2 record;
    record.id = ItemId(folder.container, Required(file, "fileId"));
    record.type = FS_FILE;
    record.name = name.substr(prefix.size());
    SetStored(options, record, file);
    AddTo(found, record);
  };
  const AERROR listed =
      ForEachUnfinished({}, options, {folder.container, prefix + options.view_name}, add);
  if (listed != AERROR::SUCCESS) return listed;
  for (const auto& record : found.GetFileList()) {
    const AERROR sized = SetUnfinishedSize(options, *record);
    if (sized == AERROR::SUCCESS) AddTo(list, *record);
    if (sized != AERROR::SUCCESS && sized != AERROR::FILE_NOT_FOUND) return sized;
  }
  return AERROR::SUCCESS;
}

AERROR BackBlazeB2::SetUnfinishedSize(const Options& options, _FS_FILE_V2& record) {
  StoredParts parts;
  const AERROR listed = ListParts({}, options, SplitNormalized(record.id).rest, parts);
  record.size = 0;
  for (const auto& [number, part] : parts) record.size += static_cast<std::uint64_t>(part.length);
  return listed;
}

// The service tells of an unfinished file only in its listing, which begins with it.
AERROR BackBlazeB2::UnfinishedInfo(const Options& options, const ItemPath& file,
                                   _FS_FILE_V2& record) {
  BindQueryLogger(options.query_logger);
  const auto body = [&] {
    JsonObject request(R"({"maxFileCount":1})");
    request["bucketId"] = file.container;
    request["startFileId"] = file.rest;
    return request;
  };
  const auto read = [&](JsonObject& answer) {
    JsonObject files = Required(answer, "files");
    if (files.GetArraySize() == 0) return AERROR::FILE_NOT_FOUND;
    JsonObject first = files[0];
    if (static_cast<std::string>(Required(first, "fileId")) != file.rest)
      return AERROR::FILE_NOT_FOUND;
    record.id = ItemId(file.container, file.rest);
    SetStored(options, record, first);
    return AERROR::SUCCESS;
  };
  const AERROR found =
      Query(options, JsonCall(query::kListUnfinished, call::kListUnfinishedLargeFiles, body),
            OnSuccess(read));
  return found == AERROR::SUCCESS ? SetUnfinishedSize(options, record) : found;
}
