#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace b2drive::cli {

// The beginning of a command line as a user typed it into a shell, up to the cursor.
struct TypedLine {
  std::vector<std::string> words;  // before the current one, the program's name among them
  std::string current;
  std::size_t behind_break = 0;  // where in `current` its part behind the last break begins
};

// Reads quotes and backslashes as shells do and expands nothing. Of several commands in the line
// the last one counts. Characters of `breaks` are where a shell begins a completion anew within a
// word.
TypedLine ReadTypedLine(std::string_view line, std::string_view breaks = {});

}  // namespace b2drive::cli
