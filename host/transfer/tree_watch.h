#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace b2drive {

// Who is told how far the work on a tree's files is.
struct TreeWatch {
  // Is told of the bytes of each file that is found; from any thread, one at a time.
  std::function<void(std::uint64_t bytes)> found;
  // Is told the name of a file that begins, by any thread, and gives what lives until it ends.
  std::function<std::shared_ptr<void>(const std::string& name)> begins;
};

}  // namespace b2drive
