#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <utility>

#include "tests/support/scratch.h"

namespace fuzz {

// What a fuzzer wrote, read from front to back as lines and words, so that a seed is a text. Any
// bytes mean something; behind the end everything is empty or 0.
class Input {
 public:
  explicit Input(std::string text) : text_(std::move(text)) {}

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

// What a target does with an input. It is the one source of its program that includes this.
void Run(Input& input);

// Ends the run as a finding.
inline void Must(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "Not so: %s\n", what);
  std::abort();
}

// This process's folder, which goes with it; in memory.
inline const std::filesystem::path& Folder() {
  static const Scratch folder("/dev/shm");
  return folder.path;
}

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(std::string(data, data + size));
  fuzz::Run(input);
  return 0;
}
