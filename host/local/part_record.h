#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace b2drive {

// What a part file is to hold: bytes from `offset` on of one version of a file.
struct PartContents {
  std::string id;
  std::uint64_t size = 0;  // of the whole file
  std::uint64_t offset = 0;
  std::uint64_t length = 0;
  std::uint64_t range = 0;  // bytes that one request fetches
};

// How far each range of a part file is. It stands in one page behind the bytes, so that no kill of
// the program leaves half of one; a range's entry lies within one sector of the disk.
class PartRecord {
 public:
  static constexpr std::size_t kPage = 4096;
  static constexpr std::size_t kMostRanges = 192;

  PartRecord() = default;
  // Of a part file with nothing in it. Throws kFailed for contents that no record can describe.
  explicit PartRecord(const PartContents& contents);

  // The record at the end of a file; none when there is none.
  static std::optional<PartRecord> Read(int fd);
  int Write(int fd) const;                          // 0 or an errno
  int WriteRange(int fd, std::size_t which) const;  // its entry only

  std::uint64_t length() const { return contents_.length; }
  std::size_t ranges() const { return progress_.size(); }
  std::size_t RangeOf(std::uint64_t offset) const { return offset / contents_.range; }
  std::uint64_t BeginOf(std::size_t range) const { return range * contents_.range; }
  std::uint64_t EndOf(std::size_t range) const;
  std::uint64_t ReachedIn(std::size_t range) const;  // an offset
  std::uint64_t kept() const;                        // bytes
  bool IsComplete() const { return kept() == length(); }

  // Of the range at `begin`, when nothing before it is missing; gives how much is new.
  std::uint64_t Advance(std::size_t range, std::uint64_t begin, std::uint64_t end);
  // All of it is there.
  void Fill();
  // What was reached when `earlier` was copied is on disk.
  void Secure(const PartRecord& earlier);
  // Only what was secured counts.
  void DropUnsecured();

  // Takes over how far another record is, if it is of the same contents. What it has beyond the
  // secured counts only when it was written since the machine was started.
  bool Continue(const PartRecord& found);

 private:
  struct Progress {
    std::uint64_t reached = 0;  // bytes from the range's start
    std::uint64_t secured = 0;
  };
  struct Page;

  std::uint64_t PagePosition() const;

  PartContents contents_;
  std::string description_;  // of the contents
  std::string boot_;
  std::vector<Progress> progress_;
};

}  // namespace b2drive
