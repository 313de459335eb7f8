#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/common/fs_error.h"
#include "host/common/thread_safety.h"
#include "host/common/workers.h"
#include "host/mount/files/delay.h"
#include "host/plugin/entry.h"

namespace b2drive::mount {

// Folders that programs have made and whose markers are on their way to the service. What fails is
// tried again, after growing waits, until the service refuses it for good. Thread-safe.
class NewFolders {
 public:
  // Sends the marker of a folder. Throws FsError.
  using Sender = std::function<void(const std::string& path, const std::string& id)>;
  // Told of a folder that there will not be.
  using Refused = std::function<void(const std::string& path, const std::string& reason)>;
  NewFolders(Sender send, Refused refused);
  // Begins nothing any more.
  ~NewFolders();
  NewFolders(const NewFolders&) = delete;
  NewFolders& operator=(const NewFolders&) = delete;

  // False when too many are on their way already, or it cannot be sent later.
  bool Add(const std::string& path, const std::string& id);
  bool Has(const std::string& path);
  // Those that are right in `folder`.
  std::vector<Entry> In(const std::string& folder);

  // Returns when the service has the marker, or it is not on its way. Throws what the last attempt
  // has failed with.
  void Await(const std::string& path);
  // The same for all that are at or below it.
  void AwaitBelow(const std::string& folder);
  // It is not sent any more when this returns; an attempt that runs is awaited.
  void TakeBack(const std::string& path);

  std::vector<Delay> Waiting();
  // Tries each once more at most, and gives those that the service does not have.
  std::vector<Delay> Drain();

 private:
  struct Job {
    std::string id;
    bool running = false;
    bool ended = false;
    bool taken_back = false;
    int failures = 0;
    std::optional<FsError> failure;
  };
  using JobPtr = std::shared_ptr<Job>;

  void Run(const std::string& path, const JobPtr& job);
  void Attempt(const std::string& path, Job& job) B2_REQUIRES(mutex_);
  // Whether there is to be another attempt.
  bool Pause(Lock& lock, const Job& job) B2_REQUIRES(mutex_);
  void End(const std::string& path, Job& job) B2_REQUIRES(mutex_);
  std::vector<std::string> Below(const std::string& folder);

  const Sender send_;
  const Refused refused_;
  Mutex mutex_;
  Condition changed_;
  std::map<std::string, JobPtr> jobs_ B2_GUARDED_BY(mutex_);
  bool stopping_ B2_GUARDED_BY(mutex_) = false;  // nothing waits for its next attempt
  bool stopped_ B2_GUARDED_BY(mutex_) = false;   // nothing is begun
  Workers senders_;
};

}  // namespace b2drive::mount
