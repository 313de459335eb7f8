#pragma once

#include <bit>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <unordered_map>

#include "host/common/fs_error.h"
#include "host/common/thread_safety.h"

namespace b2drive::mount {

// What was opened for the kernel, which names it by a number in every call until it releases it. An
// operation that still runs then keeps it to its own end. What was never released, for the mount
// ended under a program, goes with the object. Thread-safe.
template <typename Opened>
class HandleTable {
 public:
  std::uint64_t Lend(std::shared_ptr<Opened> opened) {
    const auto number = std::bit_cast<std::uint64_t>(opened.get());
    Lock lock(mutex_);
    kept_[number] = std::move(opened);
    return number;
  }
  // Throws FsError EBADF.
  std::shared_ptr<Opened> Of(std::uint64_t number) {
    Lock lock(mutex_);
    const auto found = kept_.find(number);
    if (found == kept_.end()) throw FsError(EBADF, "a handle that was never opened");
    return found->second;
  }
  std::shared_ptr<Opened> TakeBack(std::uint64_t number) {
    Lock lock(mutex_);
    auto taken = kept_.extract(number);
    return taken.empty() ? nullptr : std::move(taken.mapped());
  }

 private:
  Mutex mutex_;
  std::unordered_map<std::uint64_t, std::shared_ptr<Opened>> kept_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
