#pragma once

#include <cstdint>
#include <string>

#include "host/cli/command.h"

namespace b2drive::cli {

// What is to be printed of a file, as far as it has it.
struct PrintRange {
  std::uint64_t offset = 0;
  std::uint64_t length = 0;  // bytes
  bool verify = true;        // compare the SHA-1 of a whole file, where it is known
};

// Writes a part of a file to standard output, in order. False when nobody reads there any more.
// Throws HostError: kDamaged when all is printed and is not what was stored.
bool PrintFile(PatientDrive& drive, const Entry& file, const std::string& path,
               const PrintRange& range);

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
