#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

// A new folder, which goes with all that is in it.
class Scratch {
 public:
  explicit Scratch(const std::filesystem::path& in = std::filesystem::temp_directory_path())
      : path(mkdtemp((in / "b2test-XXXXXX").string().data())) {}
  ~Scratch() { std::filesystem::remove_all(path); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::filesystem::path path;
};
