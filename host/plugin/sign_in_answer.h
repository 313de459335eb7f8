#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace b2drive {

// What the service said at sign-in and the plug-in keeps to itself; empty what it did not say. Only
// the line of the plug-in's log that holds the answer's body tells.
struct SignInAnswer {
  std::string account_id;
  std::string bucket;  // the only one that the key reaches; empty: all
  std::string prefix;  // of the names that the key reaches
  std::vector<std::string> capabilities;
  std::uint64_t part_size = 0;  // bytes of a part of large files; 0 when it is not known
};

// Whether a body line is of a sign-in.
bool IsSignInLine(std::string_view line);

SignInAnswer ReadSignInLine(std::string_view line);

}  // namespace b2drive
