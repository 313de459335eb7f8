#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace emulator {

// File info: lower-case key to value.
using FileInfo = std::map<std::string, std::string>;

// Throw 400 bad_request, in the service's words, for a name that it does not take.
void CheckFileName(std::string_view name);
void CheckBucketName(std::string_view name);

// `info` with its keys in lower case. Throws 400 for too many pairs, for keys that are not allowed,
// and when the info and the file's name together are too long.
FileInfo CheckedInfo(const FileInfo& info, std::string_view file_name);

// Changes ASCII letters only; other bytes stay.
std::string ToLower(std::string_view text);

bool IsSha1(std::string_view text);

}  // namespace emulator
