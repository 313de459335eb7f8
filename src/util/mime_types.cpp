#include "util/mime_types.h"

#include <utility>

#include "util/strings.h"

namespace {

struct Row {
  const char* extension;
  const char* type;
};

constexpr Row kRows[] = {
#include "util/mime_table.inc"
};

std::map<std::string, std::string> FillFromRows() {
  std::map<std::string, std::string> types;
  for (const Row& row : kRows) types.emplace(row.extension, row.type);
  return types;
}

}  // namespace

std::map<std::string, std::string> ext_dict = FillFromRows();

std::string get_ext_from_filename(std::string name) {
  return name.substr(name.rfind('.') + 1);  // Without a dot, npos + 1 is 0.
}

std::string get_mime_type_from_ext(std::string name) {
  const auto row = ext_dict.find(util::LowerCase(get_ext_from_filename(std::move(name))));
  return row == ext_dict.end() ? "application/octet-stream" : row->second;
}
