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
  return json;
}

void PrintJson(const Json& json) { std::cout << JsonText(json, StdoutIsTerminal(), 2) << "\n"; }

void PrintJsonLine(const Json& json) { std::cout << JsonText(json, StdoutIsTerminal()) << "\n"; }

}  // namespace b2drive::cli
