#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <thread>

#define FUSE_USE_VERSION 312
#include <fuse3/fuse_lowlevel.h>

#include "host/common/thread_safety.h"

namespace b2drive::mount {

// The answer to one request of the kernel, given once: by the operation, or in its place when the
// program was killed or the mount is to end before the operation is through. Thread-safe.
class Reply {
 public:
  explicit Reply(fuse_req_t request) : request_(request) {}
  // Takes the request over.
  Reply(Reply&& other) noexcept : request_(other.Take()) {}
  ~Reply();

  // Each gives whether the kernel took it. A program that has gone learns of nothing that was
  // looked up or opened for it, so that has to be given back.
  bool Entry(const fuse_entry_param& entry);
  bool Created(const fuse_entry_param& entry, const fuse_file_info& info);
  bool Opened(const fuse_file_info& info);
  bool Attributes(const struct stat& attributes, double kept_seconds);
  bool Bytes(const char* data, std::size_t count);
  bool Written(std::size_t count);
  bool Statistics(const struct statvfs& statistics);
  bool Controlled(const void* data, std::size_t count);
  bool Error(int number);  // 0: done

  // Answers EINTR when its program was killed while it waits.
  void EndIfKilled();

 private:
  fuse_req_t Take();

  Mutex mutex_;
  fuse_req_t request_ B2_GUARDED_BY(mutex_);  // null once it is answered
};

// The answers that operations in the background owe. Looks after programs that are killed while
// they wait: the kernel lets none of them go before it has an answer. Thread-safe.
class OwedReplies {
 public:
  OwedReplies() = default;
  ~OwedReplies();
  OwedReplies(const OwedReplies&) = delete;
  OwedReplies& operator=(const OwedReplies&) = delete;

  void Add(const std::shared_ptr<Reply>& reply);
  // Answers all of them, and those that come later, with an error.
  void EndAll(int number);

 private:
  void Watch();
  void AwaitNextLook(Lock& lock) B2_REQUIRES(mutex_);

  Mutex mutex_;
  Condition changed_;
  std::list<std::weak_ptr<Reply>> owed_ B2_GUARDED_BY(mutex_);
  int end_with_ B2_GUARDED_BY(mutex_) = 0;
  bool ending_ B2_GUARDED_BY(mutex_) = false;
  std::thread watcher_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
