#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/common/thread_safety.h"
#include "host/mount/journal/spool.h"

namespace b2drive::mount {

// Where a file's contents are to go, for threads that write and one that sends. Thread-safe.
class SharedDestination {
 public:
  explicit SharedDestination(Destination destination) : destination_(std::move(destination)) {}

  Destination Get() const;
  void Set(Destination destination);
  void SetBase(const std::string& id);

  // These contents were sent, or are being sent, and may have arrived. Throws FsError.
  void NoteAttempt(const SpoolFile& contents);
  void AddAttempts(const std::vector<Fingerprint>& prints);
  // The version `id` stands there now, whatever was attempted before.
  void Arrived(const std::string& id);
  bool HasAttempt(std::uint64_t size) const;  // bytes
  bool HasAttempt(const Fingerprint& fingerprint) const;

 private:
  mutable Mutex mutex_;
  Destination destination_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
