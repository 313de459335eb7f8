#pragma once

#include <cstdint>
#include <vector>

namespace b2drive {

// Into a pipe or terminal, which cannot take bytes back. The text of a refusal that the plug-in
// then repeats may arrive before the file's first bytes, so each piece is held until the next one
// follows it, or until Finish. Give 0 or an errno; EILSEQ where only wrong bytes could be written.
class StreamWriter {
 public:
  explicit StreamWriter(int fd) : fd_(fd) {}  // borrowed

  // The bytes at `offset`, counted from the first.
  int Write(std::uint64_t offset, const char* data, std::size_t count);
  // To be called once, when all has come.
  int Finish() { return WriteHeld(); }

 private:
  int WriteHeld();

  const int fd_;
  std::vector<char> held_;
  std::uint64_t held_at_ = 0;
};

}  // namespace b2drive
