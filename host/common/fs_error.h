#pragma once

#include <stdexcept>
#include <string>

namespace b2drive {

// A failure as a program on the mount sees it: an errno, and a text for the log.
class FsError : public std::runtime_error {
 public:
  FsError(int number, const std::string& text, bool lasting = false)
      : std::runtime_error(text), number_(number), lasting_(lasting) {}
  int number() const { return number_; }
  // Whether the same call is refused at any later time, too.
  bool lasting() const { return lasting_; }

 private:
  int number_;
  bool lasting_;
};

}  // namespace b2drive
