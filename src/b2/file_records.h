#pragma once

#include <cstdint>
#include <string>

#include "protocol/host_interfaces.h"
#include "protocol/records.h"
#include "util/json_object.h"

// The member `key` of an answer. Throws AERROR::FAILED when it is missing: reading a missing member
// as null would turn an unexpected answer into an empty name, ID or size.
JsonObject Required(JsonObject& answer, const char* key);

// `time` into all three times.
void SetTimes(_FS_FILE_V2& record, const std::string& time);
// An answer's "uploadTimestamp" (milliseconds) into all three times, in whole seconds.
void SetUploadTime(_FS_FILE_V2& record, JsonObject& answer);

// An answer's "contentLength", in bytes.
std::uint64_t ContentLength(JsonObject& answer);

// The service's "unverified:HASH" without its prefix.
std::string BareSha1(const std::string& sha1);

std::string ItemId(const std::string& container, const std::string& rest);

// A bucket or folder as of now.
_FS_FILE_V2 DirectoryRecord(std::string id, std::string name);

// Hands a record to the host's sink; throws the sink's refusal.
void AddTo(IFileList& list, const _FS_FILE_V2& record);
