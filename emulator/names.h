#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace emulator {

// File info: lower-case key to value.
using FileInfo = std::map<std::string, std::string>;

// These throw the service's refusal (400 bad_request) of an unfit name.
void CheckFileName(std::string_view name);
void CheckBucketName(std::string_view name);

// Keys lower-cased. Throws 400 for too many pairs, unfit or reserved keys and unfit sizes.
FileInfo CheckedInfo(const FileInfo& info, std::string_view file_name);

// ASCII only; other bytes stay.
std::string ToLower(std::string_view text);

bool IsSha1(std::string_view text);

}  // namespace emulator
