#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

namespace fuzz {

// What a fuzzer wrote, read from front to back as lines and words, so that a seed is a text. Any
// bytes mean something; behind the end everything is empty or 0.
class Input {
 public:
  explicit Input(std::string text) : text_(std::move(text)) {}
  Input(const std::uint8_t* data, std::size_t size) : text_(data, data + size) {}

  bool AtEnd() const { return at_ >= text_.size(); }
  std::string Rest() { return Until(std::string::npos); }
  std::string Line() { return Until(text_.find('\n', at_)); }
  std::string Word() { return Until(text_.find(' ', at_)); }
  // A word as a number below `limit`.
  std::uint64_t Number(std::uint64_t limit) {
    return std::strtoull(Word().c_str(), nullptr, 10) % limit;
  }
  // The first character of a word if it is one of `names`, else whichever it falls on.
  char Pick(std::string_view names) {
    const char first = (Word() + names.front()).front();
    const auto byte = static_cast<unsigned char>(first);
    return names.find(first) != names.npos ? first : names[byte % names.size()];
  }

 private:
  std::string Until(std::size_t end) {
    end = std::min(end, text_.size());
    const std::size_t begin = std::min(std::exchange(at_, end + 1), end);
    return text_.substr(begin, end - begin);
  }

  const std::string text_;
  std::size_t at_ = 0;
};

// Ends the run as a finding.
inline void Must(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "Not so: %s\n", what);
  std::abort();
}

// This process's folder, which goes with it; in memory, where the system has such a place.
inline const std::filesystem::path& Folder() {
  static const struct Made {
    Made() { std::filesystem::create_directory(path); }
    ~Made() { std::filesystem::remove_all(path); }
    const std::filesystem::path path =
        (std::filesystem::exists("/dev/shm") ? "/dev/shm"
                                             : std::filesystem::temp_directory_path()) /
        ("b2fuzz-" + std::to_string(getpid()));
  } made;
  return made.path;
}

}  // namespace fuzz
