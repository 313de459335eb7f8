#pragma once

#include <condition_variable>
#include <mutex>
#include <shared_mutex>

// What clang is told about locks, so that it finds what is used without its own. Other compilers
// see nothing of it. Attributes cannot be had without macros.
#ifdef __clang__
#define B2_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define B2_THREAD_ATTRIBUTE(x)
#endif
#define B2_GUARDED_BY(mutex) B2_THREAD_ATTRIBUTE(guarded_by(mutex))
#define B2_PT_GUARDED_BY(mutex) B2_THREAD_ATTRIBUTE(pt_guarded_by(mutex))
#define B2_REQUIRES(...) B2_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define B2_REQUIRES_SHARED(...) B2_THREAD_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define B2_EXCLUDES(...) B2_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define B2_ACQUIRED_BEFORE(...) B2_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))

namespace base {

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

// Holds two Mutexes, taken so that two threads never wait for each other's.
class B2_THREAD_ATTRIBUTE(scoped_lockable) LockBoth {
 public:
  LockBoth(Mutex& one, Mutex& other) B2_THREAD_ATTRIBUTE(acquire_capability(one, other))
      : one_(one), other_(other) {
    std::lock(one_, other_);
  }
  ~LockBoth() B2_THREAD_ATTRIBUTE(release_capability()) {
    other_.unlock();
    one_.unlock();
  }
  LockBoth(const LockBoth&) = delete;
  LockBoth& operator=(const LockBoth&) = delete;

 private:
  Mutex& one_;
  Mutex& other_;
};

using Condition = std::condition_variable_any;

// A std::shared_mutex, for what many read at a time.
class B2_THREAD_ATTRIBUTE(capability("mutex")) SharedMutex {
 public:
  void lock() B2_THREAD_ATTRIBUTE(acquire_capability()) { mutex_.lock(); }
  void unlock() B2_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock(); }
  void lock_shared() B2_THREAD_ATTRIBUTE(acquire_shared_capability()) { mutex_.lock_shared(); }
  void unlock_shared() B2_THREAD_ATTRIBUTE(release_shared_capability()) { mutex_.unlock_shared(); }

 private:
  std::shared_mutex mutex_;
};

class B2_THREAD_ATTRIBUTE(scoped_lockable) WriteLock {
 public:
  explicit WriteLock(SharedMutex& mutex) B2_THREAD_ATTRIBUTE(acquire_capability(mutex))
      : mutex_(mutex) {
    mutex_.lock();
  }
  ~WriteLock() B2_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock(); }
  WriteLock(const WriteLock&) = delete;
  WriteLock& operator=(const WriteLock&) = delete;

 private:
  SharedMutex& mutex_;
};

class B2_THREAD_ATTRIBUTE(scoped_lockable) ReadLock {
 public:
  explicit ReadLock(SharedMutex& mutex) B2_THREAD_ATTRIBUTE(acquire_shared_capability(mutex))
      : mutex_(mutex) {
    mutex_.lock_shared();
  }
  ~ReadLock() B2_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock_shared(); }
  ReadLock(const ReadLock&) = delete;
  ReadLock& operator=(const ReadLock&) = delete;

 private:
  SharedMutex& mutex_;
};

}  // namespace base
