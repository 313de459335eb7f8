#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace b2drive::mount {

// What tells contents apart without them.
struct Fingerprint {
  std::uint64_t size = 0;  // bytes
  std::uint32_t checksum = 0;
  bool operator==(const Fingerprint&) const = default;
};

// A version on the service, under its name.
struct NamedVersion {
  std::string path;  // on the drive; empty: none
  std::string id;
};

// Where contents are to go, and what may stand there already.
struct Destination {
  std::string path;  // on the drive
  std::string base;  // the identifier of the version that they follow; empty: there was none
  // Earlier contents whose sending failed, and yet may have arrived.
  std::vector<Fingerprint> attempted;
  NamedVersion former{};  // what they were on top of before they were renamed, and which is to go
};

// No spool counts its files and entries so far: what has such a number is not its own.
inline constexpr std::uint64_t kNoNumber = 1ULL << 63;

// What a journal entry says, and its text: a JSON object.
struct JournalEntry {
  std::string file;        // name of the spool file, which tells an entry from a spare's older text
  std::uint64_t size = 0;  // bytes of the contents
  std::uint64_t order = 0;  // grows from entry to entry
  std::string boot;         // the boot in which it counts; empty: in any
  Destination destination;
  timespec modified{};  // of the contents
};

std::string EntryTextOf(const JournalEntry& entry);

struct EntryText {
  enum class State { kGood, kUnfinished, kDamaged };
  State state = State::kDamaged;
  JournalEntry entry;  // when good
};

// Unfinished is what never reached the disk: nothing but zeros, nothing at all, or a part of an
// entry that counts in one boot only.
EntryText ParseEntry(const std::string& text);

}  // namespace b2drive::mount
