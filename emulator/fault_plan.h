#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

namespace emulator {

/// What goes wrong, for the next `times` requests of `call` after `skip` of them have passed.
struct Fault {
  /// Name as in Request::call; "" for every request of the service (not for CONNECT).
  std::string call = {};
  int skip = 0;
  /// Negative: until cleared.
  int times = 1;

  /// Answer with this status, and with {code, message, status} or `body`. 0: the real answer.
  int status = 0;
  std::string code = {};
  std::string message = {};
  /// Seconds, sent as Retry-After.
  std::optional<int> retry_after = {};
  /// With a status, 200 among them: sent as it is in place of the error object.
  std::optional<std::string> body = {};

  /// Wait before the request is worked on.
  std::chrono::milliseconds delay{0};
  /// Take the request, then send nothing until the client closes. With `cut_after` the headers and
  /// that much of the body are sent first.
  bool stall = false;
  /// Close after this many bytes of the answer's body.
  std::optional<uint64_t> cut_after = {};
  /// Close, without an answer, after this many bytes of the request's body, or at its end.
  std::optional<uint64_t> cut_request_after = {};
  /// The call takes effect before the fault, as if its answer was lost on the way. Without it a
  /// faulty call changes nothing.
  bool commit = false;
};

/// Faults still to come, in the order in which they were added. Thread-safe.
class FaultPlan {
 public:
  void Add(Fault fault);
  void Clear();

  /// The fault that hits a request of `call` which has just arrived: the first that matches and has
  /// nothing left to skip.
  std::optional<Fault> Take(const std::string& call);

 private:
  std::mutex mutex_;
  std::deque<Fault> faults_;  // protected by mutex_
};

}  // namespace emulator
