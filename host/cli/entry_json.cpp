#include "host/cli/entry_json.h"

#include <iostream>

#include "host/common/path.h"
#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"

namespace b2drive::cli {

std::string Shown(const std::string& text) {
  return StdoutIsTerminal() ? EscapeControls(text) : text;
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

void PrintJson(const Json& json) {
  // Names need not be UTF-8 here, but must be in JSON.
  constexpr auto kReplace = Json::error_handler_t::replace;
  const std::string line = json.dump(-1, ' ', false, kReplace);
  const bool escape = Shown(line) != line;
  std::cout << json.dump(2, ' ', escape, kReplace) << "\n";
}

}  // namespace b2drive::cli
