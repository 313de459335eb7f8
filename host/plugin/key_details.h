#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace b2drive {

// What the service says of a key when it signs in; empty what it does not say.
struct KeyDetails {
  std::string account_id;
  std::string bucket;  // the only one that the key reaches; empty: all
  std::string prefix;  // of the names that the key reaches
  std::vector<std::string> capabilities;
};

// Reads them from the log line that holds the answer to a sign-in; none from another line.
std::optional<KeyDetails> ReadKeyDetails(std::string_view line);

}  // namespace b2drive
