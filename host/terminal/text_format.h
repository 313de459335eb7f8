#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace b2drive {

// `text` with control characters, invisible format characters such as bidirectional overrides, and
// bytes that are no UTF-8 written as \xNN, so that a name from the service can neither steer a
// terminal nor look like another.
std::string EscapeControls(std::string_view text);

// `text` cut or filled with spaces to `width` columns of a terminal. Some characters take two
// columns, some none.
std::string FitColumns(std::string_view text, int width);

// "999 B", "1.5 kB", "20 MB": decimal units, two significant places below ten.
std::string FormatBytes(double bytes);

// "0:05", "12:34", "1:02:03"; "-:--" when negative.
std::string FormatDuration(std::int64_t seconds);

}  // namespace b2drive
