#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/common/errors.h"
#include "host/common/thread_safety.h"
#include "host/common/unique_fd.h"
#include "host/local/local_target.h"
#include "host/local/part_record.h"
#include "host/local/sha1.h"
#include "host/terminal/interrupt.h"

namespace b2drive {

// Where a part file stands: at NAME.part, or at a short hidden name beside NAME, for when NAME.part
// is wanted as well. Where NAME.part would be too long it is the hidden name anyway.
enum class PartName { kBeside, kHidden };

// A file that appears under its name only when it is complete. Until Commit its bytes stand beside
// it in a part file, for nobody else to read, with a record of what is there: the next one with the
// same contents goes on with what is missing. One in which nothing came is removed on every way
// out.
//
// What was noted survives the end of the program, and what was secured since that of the machine.
// A part file of other contents is thrown away. Any number of threads may call Write, Note, kept
// and KeptNote.
class PartFile {
 public:
  // Throws kWrongKind when `target` exists and is no regular file, kExists when something stands at
  // the part file's name that is none, kLocalFile when it cannot be made or is in use.
  PartFile(LocalTarget target, PartContents contents, PartName name = PartName::kBeside);
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  const LocalTarget& target() const { return target_; }

  struct Span {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
  };
  // What is missing, at most one span in each range, in order.
  std::vector<Span> Missing() const;
  std::uint64_t kept() const;  // bytes
  // Tells a user where that is, for the end of a failure's line; empty when there is nothing.
  std::string KeptNote() const;

  // Bytes for `offset`; 0 or an errno.
  int Write(std::uint64_t offset, const char* data, std::size_t count);
  // Records that what was written from `begin` to `end` is right. 0 or an errno.
  int Note(std::uint64_t begin, std::uint64_t end);

  // Hashes some of what has come in sequence, so that less is left for RequireHash; false when
  // there was nothing more. To be called by one thread at a time. Throws FsError.
  bool HashOn();

  // Throws kDamaged, and throws away what came, unless it is all of `path` on the drive, whose
  // bytes have this SHA-1. To be called when nothing is missing.
  void RequireHash(const std::string& sha1, const std::string& path);

  // Puts the file in place, over an older one, whose mode it takes. Once its bytes are on disk, so
  // that a power cut leaves the old file or the new one. Throws kLocalFile; kFailed when bytes are
  // missing. It gets the time `modified`, where the file system can. `may_replace` is called just
  // before the file gets its name; what it throws leaves all as it is.
  void Commit(const std::optional<timespec>& modified = {},
              const std::function<void()>& may_replace = {});

 private:
  bool TakeWhole();
  bool IsContinued(const LocalTarget& hidden) const;
  void TakePart(PartName name);
  int Resume() B2_REQUIRES(mutex_);
  int Begin() B2_REQUIRES(mutex_);
  int Secure();
  void Move(const LocalTarget& to);
  HostError Failed(int error) const;
  HostError Spoiled(int error);
  bool IsShort() const;
  std::uint64_t InSequence() const;  // an offset: all before it is there
  bool IsUseless() const B2_REQUIRES(mutex_);
  void RemoveUseless();

  const LocalTarget target_;
  const LocalTarget whole_;     // the name for the moment of putting it in place
  const std::uint64_t length_;  // bytes
  mutable Mutex mutex_;
  PartRecord record_ B2_GUARDED_BY(mutex_);
  std::uint64_t unsecured_ B2_GUARDED_BY(mutex_) = 0;  // bytes that came since
  bool securing_ B2_GUARDED_BY(mutex_) = false;
  // Where the bytes are now, nowhere at first; the caller of Commit alone changes it.
  LocalTarget at_;
  UniqueFd fd_;  // locked
  Sha1 hash_;
  std::uint64_t hashed_ = 0;  // bytes
  const InterruptCleanup at_exit_;
};

// Makes the names that were given to files of `folder` last. Throws kLocalFile.
void SecureNames(const std::filesystem::path& folder);

}  // namespace b2drive
