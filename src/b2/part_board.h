#pragma once

#include <atomic>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/thread_safety.h"

struct Part {
  int number;        // from 1
  long long start;   // file offset
  long long length;  // bytes
};

// How a file is cut: into parts of one length, except the last.
struct PartPlan {
  static constexpr int kMostParts = 10'000;

  // Parts of `wanted` bytes (at least 1), or of more where these would be too many.
  static PartPlan Of(long long size, long long wanted);
  int Count() const { return static_cast<int>((size + part_size - 1) / part_size); }
  Part At(int number) const;

  long long size;       // bytes of the file
  long long part_size;  // bytes
};

// What the service holds of an unfinished large file, by part numbers.
struct StoredPart {
  long long length;  // bytes
  std::string sha1;
};
using StoredParts = std::map<int, StoredPart>;

// What has become of a file's parts. For any number of threads.
class PartBoard {
 public:
  explicit PartBoard(PartPlan plan)
      : plan_(plan), sha1s_(static_cast<std::size_t>(plan.Count())), missing_(plan.Count()) {}

  // The next part, its taker's alone; none when all are taken.
  std::optional<Part> Take();
  void Done(const Part& part, std::string sha1);

  bool IsComplete() const;
  std::vector<std::string> Sha1s() const;  // in the parts' order
  long long BytesDone() const { return bytes_done_; }

 private:
  const PartPlan plan_;
  std::atomic<long long> bytes_done_ = 0;
  mutable base::Mutex mutex_;
  std::vector<std::string> sha1s_ B2_GUARDED_BY(mutex_);
  int missing_ B2_GUARDED_BY(mutex_);
  int taken_ B2_GUARDED_BY(mutex_) = 0;
};
