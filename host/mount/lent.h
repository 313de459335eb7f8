#pragma once

#include <bit>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace b2drive::mount {

// What was opened for the kernel, which names it by a number in every call until it releases it.
// What it never released, for the mount ended under a program, goes with the object. Thread-safe.
template <typename Opened>
class Lent {
 public:
  std::uint64_t Lend(std::unique_ptr<Opened> opened) {
    const auto number = std::bit_cast<std::uint64_t>(opened.get());
    std::lock_guard lock(mutex_);
    kept_[number] = std::move(opened);
    return number;
  }
  static Opened& Of(std::uint64_t number) { return *std::bit_cast<Opened*>(number); }
  std::unique_ptr<Opened> TakeBack(std::uint64_t number) {
    std::lock_guard lock(mutex_);
    return std::move(kept_.extract(number).mapped());
  }

 private:
  std::mutex mutex_;
  std::unordered_map<std::uint64_t, std::unique_ptr<Opened>> kept_;  // guarded by mutex_
};

}  // namespace b2drive::mount
