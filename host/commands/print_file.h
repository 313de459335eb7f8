#pragma once

#include <cstdint>
#include <string>

#include "host/cli/command.h"

namespace b2drive::cli {

// Writes `length` bytes from `offset` on of a file, as far as it has them, to standard output, in
// order. False when nobody reads there any more. Throws HostError.
bool PrintFile(Context& context, const Entry& file, const std::string& path, std::uint64_t offset,
               std::uint64_t length);

// What head and tail are to print.
struct EndOptions {
  std::string path;
  std::uint64_t bytes = 0;
  bool other_end = false;  // counted from the file's other end
};

// The arguments of head and tail; `sign` before the number asks for the other end, as `meaning`
// tells.
void AddEndOptions(CLI::App& app, const std::shared_ptr<EndOptions>& options, char sign,
                   const std::string& meaning);

}  // namespace b2drive::cli
