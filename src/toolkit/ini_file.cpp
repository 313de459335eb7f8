#include <fstream>

#include "toolkit/toolkit.h"
#include "util/strings.h"

namespace {

// Takes one trimmed line. Returns whether it has one of the known forms.
bool TakeLine(const std::string& line, ini_sections& sections, std::string& section) {
  if (line.empty() || line.front() == ';' || line.front() == '#') return true;
  if (line.front() == '[' && line.back() == ']') {
    section = line.substr(1, line.size() - 2);
    sections[trim(section)];
    return true;
  }
  const std::size_t equals = line.find('=');
  if (equals == std::string::npos) return false;
  std::string key = line.substr(0, equals);
  std::string value = line.substr(equals + 1);
  sections[section][trim(key)] = trim(value);
  return true;
}

}  // namespace

std::optional<ini_sections> read_ini_file(const std::string& path) {
  std::ifstream file(path);
  ini_sections sections;
  std::string section;
  for (std::string line; std::getline(file, line);) {
    if (!TakeLine(trim(line), sections, section)) return std::nullopt;
  }
  // A file read to its end has met the end; a directory or a missing file has not.
  if (!file.eof()) return std::nullopt;
  return sections;
}
