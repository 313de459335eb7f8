#include "host/cli/entry_json.h"

#include <iostream>

#include "host/common/path.h"
#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"

namespace b2drive::cli {

std::string Shown(const std::string& text) {
  static const bool escapes = StdoutIsTerminal();
  return escapes ? EscapeControls(text) : text;
}

namespace {

void AddDetails(const Entry& entry, Json& json) {
  json["uploaded"] = TimeText(entry.uploaded);
  const FileDetails& details = *entry.details;
  if (!details.sha1.empty()) json["sha1"] = details.sha1;
  if (!details.type.empty()) json["content_type"] = details.type;
  if (details.action != "upload" && !details.action.empty()) json["action"] = details.action;
  for (const auto& [key, value] : details.info) json["info"][key] = value;
}

}  // namespace

Json ToJson(const Entry& entry, const std::string& path) {
  Json json = {{"path", path},
               {"name", entry.name},
               {"type", !entry.folder    ? "file"
                        : IsBucket(path) ? "bucket"
                                         : "folder"}};
  if (!entry.folder) {
    json["size"] = entry.size;
    json["modified"] = TimeText(entry.modified);
  }
  json["id"] = entry.id;
  if (entry.details) AddDetails(entry, json);
  return json;
}

void PrintJson(const Json& json) { std::cout << JsonText(json, StdoutIsTerminal(), 2) << "\n"; }

void PrintJsonLine(const Json& json) { std::cout << JsonText(json, StdoutIsTerminal()) << "\n"; }

}  // namespace b2drive::cli
