#pragma once

#include <string>

#include "protocol/aerror.h"

// Ends a listing that would never end by itself, in constant memory and whatever order the names
// come in: when its cursor goes round in a circle, or answer after answer has no entry.
class PageWatch {
 public:
  // Off, it only follows the cursor. `query` names the listing in the log.
  PageWatch(bool on, const char* query) : on_(on), query_(query) {}

  // What an answer of `entries` whose next page begins at `cursor` means for the listing: SUCCESS,
  // it is complete; RETRY, the next page is to come; FAILED, it has no end, and a line says so.
  AERROR Next(const std::string& cursor, int entries);

 private:
  bool Circles(const std::string& cursor);

  const bool on_;
  const char* query_;
  int without_entry_ = 0;  // answers in a row
  // Brent's cycle finding: a cursor is compared with one that is kept twice as long each time.
  std::string kept_;
  unsigned long long steps_ = 0;
  unsigned long long keep_for_ = 1;
};
