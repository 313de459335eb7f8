#pragma once

#include <string>
#include <string_view>

#include "host/common/unique_fd.h"

namespace b2drive {

// Whether a log line of the plug-in holds a compressed body: it ends the name with an arrow and
// goes on in a second line.
bool IsBodyLine(std::string_view line);

// The file of --log-bodies. It holds the service's answers and in them session tokens, so only its
// owner may read it.
class BodyLog {
 public:
  // Makes or continues `file`. Throws kLocalFile when that fails, and for a link or a file that
  // others can read or own.
  explicit BodyLog(const std::string& file);

  // Throws nothing: a log that cannot be written is reported once and given up.
  void Append(std::string_view text);

 private:
  std::string name_;
  UniqueFd fd_;
};

}  // namespace b2drive
