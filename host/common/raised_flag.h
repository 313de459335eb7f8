#pragma once

#include <atomic>

namespace b2drive {

// True while the object lives.
class RaisedFlag {
 public:
  explicit RaisedFlag(std::atomic<bool>& flag) : flag_(flag) { flag_ = true; }
  ~RaisedFlag() { flag_ = false; }
  RaisedFlag(const RaisedFlag&) = delete;
  RaisedFlag& operator=(const RaisedFlag&) = delete;

 private:
  std::atomic<bool>& flag_;
};

}  // namespace b2drive
