#pragma once

#include <map>
#include <string>

#include "b2/options.h"
#include "protocol/records.h"
#include "util/json_object.h"

// What a file has besides name, contents and the time of its upload.

// The file information under which clients keep the source's time, in milliseconds since 1970.
inline constexpr char kSourceTime[] = "src_last_modified_millis";

// What an upload stores with the contents.
struct FileAttributes {
  std::string content_type;
  std::map<std::string, std::string> info;  // keys in lower case
};

// Of a file that is to be stored under `name`: the type by the name's extension and, where options
// ask for it, the record's second time and what its texts give as "type=" and "info.KEY=".
// INVALID_PARAMETER, after a line in the log, for what the service does not take together with the
// upload's `own` entries.
AERROR GetAttributes(const Options& options, const _FS_FILE_V2& record, const std::string& name,
                     FileAttributes& attributes, int own = 0);

// As a JSON object of texts.
JsonObject InfoMembers(const FileAttributes& attributes);

// A stored file's SHA-1 in 40 digits; none for a large file whose uploader did not say it.
std::string Sha1Of(JsonObject& answer);

// The times of a stored file that `answer` describes and, where options ask for it, the texts
// "sha1=", "type=", "action=" and "info.KEY="; in a view of versions or unfinished files to the
// millisecond, and "action=" always.
void SetStored(const Options& options, _FS_FILE_V2& record, JsonObject& answer);
