#pragma once

#include <string>
#include <string_view>

#include "protocol/host_interfaces.h"

namespace b2drive {

// What came back from the service. The plug-in's operations fold it into one code; only the
// plug-in's log lines tell more.
struct Answer {
  int status = 0;             // HTTP status, 0 when none arrived
  std::string_view query;     // what was asked for, one of query::kAll
  std::string transport;      // why no answer arrived: libcurl's text and code; empty when one did
  int large_files_begun = 0;  // uploads in parts that were begun, and stay if they fail

  // Whether it belongs to a large file that was begun; to an upload by one request.
  bool IsOfLargeFile() const;
  bool IsOfSingleUpload() const;
};

// Reads a log line of the plug-in into `answer`, the cancellation of a large file only where
// nothing else was answered before. Lines that say nothing about an answer leave it as
// it is and give false; so does every line that shows a name, an ID or another text of the user's
// before its answer.
bool ReadAnswer(LOGLEVEL level, std::string_view line, Answer& answer);

}  // namespace b2drive
