#include <algorithm>
#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/copy_parts.h"
#include "b2/file_details.h"
#include "b2/file_records.h"
#include "b2/paths.h"
#include "protocol/log_lines.h"

// Copies on the service: no byte goes through this machine.

namespace {

constexpr long long kMostCopyBytes = 5'000'000'000;
constexpr long kLongestCopySeconds = 300;  // without a byte of the answer

// Exact, whatever the host's own deletions are: what else begins with the name stays, and so does
// what others stored under it meanwhile.
Options ForOldName(const Options& options) {
  Options exact = options;
  exact.exact_delete = true;
  exact.delete_if_unchanged = true;
  return exact;
}

bool ReplacesDetails(const Options& options, const _FS_FILE_V2& record) {
  return options.file_details && !record.texts.empty();
}

JsonObject CopyBody(const std::string& source_id, const ItemPath& target,
                    const FileAttributes* replacement) {
  JsonObject body = Members({{"sourceFileId", source_id},
                             {"destinationBucketId", target.container},
                             {"fileName", target.rest}});
  if (replacement == nullptr) return body;
  body["metadataDirective"] = std::string("REPLACE");
  body["contentType"] = replacement->content_type;
  body.Insert("fileInfo", InfoMembers(*replacement));
  return body;
}

AERROR ReadCopy(const Options& options, JsonObject& answer, const ItemPath& target,
                _FS_FILE_V2& record) {
  SetStored(options, record, answer);
  record.type = FS_FILE;
  record.size = ContentLength(answer);
  record.id = ItemId(target.container, Required(answer, "fileId"));
  record.name = target.rest.substr(target.rest.rfind('/') + 1);
  return AERROR::SUCCESS;
}

}  // namespace

// The record's name becomes the full one.
AERROR BackBlazeB2::FindSource(const Options& options, const char* id, _FS_FILE_V2& source,
                               char** msg) {
  source.id = id;
  return _GetFileInfo(ForOldName(options), id, &source, msg, true);
}

AERROR BackBlazeB2::CopyFile(const Options& options, const _FS_FILE_V2& source,
                             const ItemPath& target, _FS_FILE_V2& out) {
  FileAttributes attributes;
  const bool replaces = ReplacesDetails(options, out);
  if (replaces) {
    const AERROR described = GetAttributes(options, out, target.rest, attributes);
    if (described != AERROR::SUCCESS) return described;
  }
  const bool any_size =
      options.copy_part_size >= std::max<long long>(absolute_minimum_part_size_, 1);
  const long long most = any_size ? options.copy_part_size : kMostCopyBytes;
  if (static_cast<long long>(source.size) > most) {
    const AERROR copied =
        PartsCopy(*this, options, source, target, PartSize(options.copy_part_size), out)
            .Run(replaces ? &attributes : nullptr);
    if (copied == AERROR::SUCCESS) out.name = target.rest.substr(target.rest.rfind('/') + 1);
    return copied;
  }
  BindQueryLogger(options.query_logger);
  const std::string source_id = SplitNormalized(source.id).rest;
  const auto body = [&] { return CopyBody(source_id, target, replaces ? &attributes : nullptr); };
  return Query(
      options, CopyCall(query::kCopyFile, call::kCopyFile, body),
      OnSuccess([&](JsonObject& answer) { return ReadCopy(options, answer, target, out); }));
}

// A failed deletion leaves both names, and its code tells.
AERROR BackBlazeB2::CopyAndDelete(const Options& options, const _FS_FILE_V2& source,
                                  const ItemPath& target, _FS_FILE_V2& out, char** msg) {
  const AERROR copied = CopyFile(options, source, target, out);
  return copied == AERROR::SUCCESS ? DeleteSource(options, source, target, out, msg) : copied;
}

AERROR BackBlazeB2::DeleteSource(const Options& options, const _FS_FILE_V2& source,
                                 const ItemPath& target, const _FS_FILE_V2& copy, char** msg) {
  if (options.copy_only) return AERROR::SUCCESS;
  const Options exact = ForOldName(options);
  const bool same_name =
      source.name == target.rest && SplitNormalized(source.id).container == target.container;
  if (same_name) return options.hide_on_delete ? AERROR::SUCCESS : DeleteOlder(exact, copy, msg);
  return options.hide_on_delete ? HideFile(exact, source, msg)
                                : DeleteUnchanged(exact, source, msg);
}

AERROR BackBlazeB2::DeleteOlder(const Options& options, const _FS_FILE_V2& file, char** msg) {
  FileList versions;
  const AERROR listed = GetFileList_ObjectVersions(options, file.id.c_str(), &versions, true, msg);
  if (listed != AERROR::SUCCESS) return listed;
  const std::string file_id = SplitNormalized(file.id).rest;
  const auto& records = versions.GetFileList();
  for (auto version = records.rbegin(); version != records.rend(); ++version) {
    if ((*version)->id == file_id) return AERROR::SUCCESS;
    const AERROR result = DeleteVersion(options, (*version)->id, (*version)->name, msg);
    if (result != AERROR::SUCCESS) return result;
  }
  return AERROR::SUCCESS;
}

ServicePerformer BackBlazeB2::CopyCall(const char* name, const char* call_name,
                                       BodyBuilder body) const {
  const auto send = [this, call_name, body = std::move(body)](const Request& request) {
    request->SetLowSpeedTimeout(kLongestCopySeconds);
    return PostJson(*request, api_url_, call_name, authorization_token_, body());
  };
  return {send, name};
}
