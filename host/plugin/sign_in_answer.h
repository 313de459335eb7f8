#pragma once

#include <cstdint>
#include <string_view>

namespace b2drive {

// What the service said at sign-in and the plug-in keeps to itself. Only the line of its log that
// holds the answer's body tells.
struct SignInAnswer {
  std::uint64_t part_size = 0;  // bytes of a part of large files; 0 when it is not known
};

// Whether a body line is of a sign-in.
bool IsSignInLine(std::string_view line);

SignInAnswer ReadSignInLine(std::string_view line);

}  // namespace b2drive
