#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace b2drive {

// The bytes of a logged body: upper-case hexadecimal of a zlib stream without its first two bytes.
// Nothing when the text is damaged, or the body over 256 MiB.
std::optional<std::string> InflateBody(std::string_view hex);

// Copies a body log from `in` to `out` with its bodies readable. Gives the number of bodies that
// are damaged; these stay as they are.
int DecodeBodyLog(std::istream& in, std::ostream& out);

}  // namespace b2drive
