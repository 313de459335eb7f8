#include "emulator/names.h"

#include <algorithm>
#include <array>
#include <string>

#include "base/utf8.h"
#include "emulator/errors.h"

namespace emulator {
namespace {

constexpr size_t kMaxNameBytes = 1024;
constexpr size_t kMaxSegmentBytes = 250;
constexpr size_t kMaxInfoPairs = 10;
constexpr size_t kMaxInfoKeyBytes = 50;
constexpr size_t kMaxHeaderBytes = 7000;

bool IsAlphanumeric(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

void CheckSegments(std::string_view name) {
  while (!name.empty()) {
    const size_t length = std::min(name.find('/'), name.size());
    if (length > kMaxSegmentBytes) {
      throw BadRequest("File names segment must not be more than 250 bytes");
    }
    name.remove_prefix(std::min(length + 1, name.size()));
  }
}

void CheckInfoKey(std::string_view key) {
  constexpr std::string_view kMarks = "-_.`~!#$%^&*'|+";
  const bool fits = !key.empty() && key.size() <= kMaxInfoKeyBytes &&
                    std::all_of(key.begin(), key.end(), [&](char c) {
                      return IsAlphanumeric(c) || kMarks.find(c) != std::string_view::npos;
                    });
  if (!fits) throw BadRequest("Bad file info name: " + std::string(key));
  constexpr std::array<std::string_view, 6> kReserved{
      "b2-cache-control",    "b2-content-disposition", "b2-content-encoding",
      "b2-content-language", "b2-content-type",        "b2-expires"};
  if (key.starts_with("b2-") &&
      std::find(kReserved.begin(), kReserved.end(), key) == kReserved.end()) {
    throw BadRequest("Reserved file info name: " + std::string(key));
  }
}

}  // namespace

bool IsSha1(std::string_view text) {
  return text.size() == 40 &&
         text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

std::string ToLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

void CheckFileName(std::string_view name) {
  if (name.empty()) throw BadRequest("File names must contain at least one character");
  if (name.size() > kMaxNameBytes) {
    throw BadRequest("File names in UTF8 must be no more than 1024 bytes");
  }
  if (!base::IsUtf8(name)) throw BadRequest("File names must be UTF8");
  if (name.front() == '/') throw BadRequest("File names must not start with '/'");
  if (name.back() == '/') throw BadRequest("File names must not end with '/'");
  if (name.find("//") != std::string_view::npos) {
    throw BadRequest("File names must not contain '//'");
  }
  for (const char c : name) {
    if (c == 127) throw BadRequest("File names must not contain DELETE");
    if (c >= 0 && c < 32) throw BadRequest("File names must not contain control characters");
  }
  CheckSegments(name);
}

void CheckBucketName(std::string_view name) {
  if (name.size() < 6) throw BadRequest("bucketName must be at least 6 characters long");
  if (name.size() > 63) throw BadRequest("bucketName can be at most 63 characters long");
  if (!std::all_of(name.begin(), name.end(),
                   [](char c) { return IsAlphanumeric(c) || c == '-'; })) {
    throw BadRequest("Invalid characters in bucketName: must be alphanumeric or '-'");
  }
  if (ToLower(name).starts_with("b2-")) throw BadRequest("bucketName must not start with 'b2-'");
}

FileInfo CheckedInfo(const FileInfo& info, std::string_view file_name) {
  if (info.size() > kMaxInfoPairs) throw BadRequest("Too many file infos: at most 10");
  FileInfo checked;
  size_t bytes = file_name.size();
  for (const auto& [key, value] : info) {
    const std::string lower = ToLower(key);
    CheckInfoKey(lower);
    if (!base::IsUtf8(value)) throw BadRequest("File info must be UTF8: " + lower);
    bytes += key.size() + value.size();
    checked[lower] = value;
  }
  if (bytes > kMaxHeaderBytes) throw BadRequest("File name and file info are too long");
  return checked;
}

}  // namespace emulator
