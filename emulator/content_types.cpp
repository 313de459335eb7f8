#include "emulator/content_types.h"

#include <algorithm>
#include <array>
#include <utility>

#include "emulator/names.h"

namespace emulator {
namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 24> kTypes{{
    {"avi", "video/avi"},          {"css", "text/css"},        {"csv", "text/csv"},
    {"doc", "application/msword"}, {"gif", "image/gif"},       {"gz", "application/x-gzip"},
    {"htm", "text/html"},          {"html", "text/html"},      {"ico", "image/x-icon"},
    {"jpeg", "image/jpeg"},        {"jpg", "image/jpeg"},      {"js", "application/javascript"},
    {"json", "application/json"},  {"md", "text/markdown"},    {"mov", "video/quicktime"},
    {"mp3", "audio/mpeg"},         {"mp4", "video/mp4"},       {"pdf", "application/pdf"},
    {"png", "image/png"},          {"svg", "image/svg+xml"},   {"txt", "text/plain"},
    {"wav", "audio/x-wav"},        {"xml", "application/xml"}, {"zip", "application/zip"},
}};

std::string LowerExtension(std::string_view name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || name.find('/', dot) != std::string_view::npos) return "";
  return ToLower(name.substr(dot + 1));
}

}  // namespace

std::string ResolveContentType(std::string_view wanted, std::string_view file_name) {
  if (wanted != "b2/x-auto") return std::string(wanted);
  const std::string extension = LowerExtension(file_name);
  const auto* const found = std::find_if(kTypes.begin(), kTypes.end(),
                                         [&](const auto& row) { return row.first == extension; });
  return std::string(found == kTypes.end() ? "application/octet-stream" : found->second);
}

}  // namespace emulator
