#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "host/common/thread_safety.h"
#include "host/local/part_file.h"
#include "host/patient/patient_drive.h"

namespace b2drive {

// A file on the drive.
struct RemoteFile {
  Entry entry;
  std::string path;  // for messages
};

struct DownloadOptions {
  // At the same time for one file; a file under 32 MiB has one.
  std::size_t connections = 8;
  // kHidden where a file NAME.part is wanted beside NAME.
  PartName part_name = PartName::kBeside;
  // Which bytes of it; beyond its end there are none.
  std::uint64_t offset = 0;
  std::optional<std::uint64_t> length;
  bool verify = true;                 // compare the SHA-1 of a whole file, where it is known
  std::function<void()> may_replace;  // throws when what has the name by then must stay
};

// One file on its way to a local one, which appears under its name when it is complete, with the
// time that the stored one shows unless it is a piece of it. What came
// stays in a part file when the download ends early, and the next one goes on there. One thread
// uses an object; any number of them may run at the same time.
class FileDownload {
 public:
  // Finds or makes the part file. Throws what PartFile's constructor throws.
  FileDownload(PatientDrive& drive, RemoteFile file, const LocalTarget& target,
               const DownloadOptions& options = {});

  // Bytes of the local file, and those that are still to be fetched.
  std::uint64_t length() const { return length_; }
  std::uint64_t missing() const { return length_ - part_.kept(); }

  // Fetches what is missing and puts the file in place. Throws HostError: of what failed first, or
  // kInterrupted; the text tells what is kept for the next time.
  void Run();

 private:
  using Span = PartFile::Span;

  bool IsWhole() const { return length_ == file_.entry.size; }
  bool IsVerified() const;
  void Fetch();
  void HashWhile(const std::function<bool()>& fetching);
  void FetchSpan(const Span& span);
  void Fail(const HostError& error);
  void ThrowFailure();

  PatientDrive& drive_;
  const RemoteFile file_;
  const std::size_t connections_;
  const std::uint64_t offset_;  // of the first byte in the part file
  const std::uint64_t length_;  // bytes
  const bool verify_;
  const std::function<void()> may_replace_;
  PartFile part_;
  std::atomic<bool> failed_{false};
  Mutex mutex_;
  std::optional<HostError> failure_ B2_GUARDED_BY(mutex_);  // the first
};

}  // namespace b2drive
