#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/commands/typed_line.h"

namespace b2drive::cli {

// What can stand where the cursor is.
struct ExpectedWord {
  std::vector<std::string> words;  // any of these
  bool paths = false;              // names of the service
  bool files = false;              // of this machine
  bool folders = false;            // of this machine
  bool profiles = false;
  std::optional<std::string> profile;  // that the line chooses
};

// Reads it from the commands and options that `program` has.
ExpectedWord Expected(const CLI::App& program, const TypedLine& typed);

}  // namespace b2drive::cli
