#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace emulator {

using Pairs = std::vector<std::pair<std::string, std::string>>;

// Percent-encodes all but the characters the service leaves plain ("/" among them).
std::string PercentEncode(std::string_view text);

// Undoes percent-encoding; "+" is a space. Throws 400 for a broken escape or bad UTF-8.
std::string PercentDecode(std::string_view text);

// The decoded pairs of a query string (without "?").
Pairs ParseQuery(std::string_view query);

// The first value of `name`, "" when absent.
std::string ValueOf(const Pairs& pairs, std::string_view name);

// What `Authorization: Basic` carries: {user, password}; both empty when it is not that.
std::pair<std::string, std::string> ParseBasic(std::string_view header);

}  // namespace emulator
