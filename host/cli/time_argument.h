#pragma once

#include <chrono>
#include <ctime>
#include <string>

namespace b2drive::cli {

// A time in UTC as it is written out: 2026-01-31, 2026-01-31T12:00, 2026-01-31T12:00:00Z, also with
// fractions of a second. Throws kUsage, naming `option`.
timespec ParseTime(const std::string& option, const std::string& text);
// The same, or the time of a local file of that name.
timespec ParseTimeOrFile(const std::string& option, const std::string& text);

// "30m", "12h", "7d", "2w". Throws kUsage.
std::chrono::seconds ParseDuration(const std::string& option, const std::string& text);

bool IsLater(const timespec& one, const timespec& other);

}  // namespace b2drive::cli
