#pragma once

#include <condition_variable>
#include <mutex>

// What clang is told about locks, so that it finds what is used without its own. Other compilers
// see nothing of it. Attributes cannot be had without macros.
#ifdef __clang__
#define B2_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define B2_THREAD_ATTRIBUTE(x)
#endif
#define B2_GUARDED_BY(mutex) B2_THREAD_ATTRIBUTE(guarded_by(mutex))
#define B2_REQUIRES(...) B2_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define B2_EXCLUDES(...) B2_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))

namespace b2drive {

// A std::mutex that clang's analysis knows.
class B2_THREAD_ATTRIBUTE(capability("mutex")) Mutex {
 public:
  void lock() B2_THREAD_ATTRIBUTE(acquire_capability()) { mutex_.lock(); }
  void unlock() B2_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock(); }
  bool try_lock() B2_THREAD_ATTRIBUTE(try_acquire_capability(true)) { return mutex_.try_lock(); }

 private:
  std::mutex mutex_;
};

// Holds a Mutex, as std::unique_lock does; a Condition waits on it. Predicates of waits are written
// as loops, since the analysis does not know what a lambda's caller holds.
class B2_THREAD_ATTRIBUTE(scoped_lockable) Lock {
 public:
  explicit Lock(Mutex& mutex) B2_THREAD_ATTRIBUTE(acquire_capability(mutex)) : mutex_(mutex) {
    mutex_.lock();
  }
  ~Lock() B2_THREAD_ATTRIBUTE(release_capability()) {
    if (held_) mutex_.unlock();
  }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void unlock() B2_THREAD_ATTRIBUTE(release_capability()) {
    held_ = false;
    mutex_.unlock();
  }
  void lock() B2_THREAD_ATTRIBUTE(acquire_capability()) {
    mutex_.lock();
    held_ = true;
  }

 private:
  Mutex& mutex_;
  bool held_ = true;
};

using Condition = std::condition_variable_any;

}  // namespace b2drive
