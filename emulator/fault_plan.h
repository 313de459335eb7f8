#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/thread_safety.h"

namespace emulator {

// What goes wrong, for the next `times` requests of `call` after `skip` of them have passed.
struct Fault {
  // Name as in Request::call; "" for every request of the service (not for CONNECT).
  std::string call = {};
  int skip = 0;
  // Negative: until cleared.
  int times = 1;

  // Answer with this status (100 to 599), and with {code, message, status} or `body`. 0: the real
  // answer.
  int status = 0;
  std::string code = {};
  std::string message = {};
  // Seconds, sent as Retry-After.
  std::optional<int> retry_after = {};
  // With a status, 3xx above all: sent as Location unless empty.
  std::string location = {};
  // With a status, 200 among them: sent as it is in place of the error object.
  std::optional<std::string> body = {};

  // The body unpacks to this many bytes of JSON, all blanks between "{" and "}". Nothing happens to
  // requests whose Accept-Encoding lacks gzip. From 2 to kMostBlanks.
  std::optional<uint64_t> gzip_blanks = {};
  // Pairs of texts. Pair by pair, the first is replaced by the second wherever it stands in the
  // JSON of a real answer.
  std::vector<std::pair<std::string, std::string>> replace = {};
  // A real listing of names or versions says that its next page begins where this one was asked to
  // begin, or else at its first entry, so that its pages never end.
  bool repeat_cursor = false;
  // A download is served whole, whatever range it asks for.
  bool ignore_range = false;

  // Wait before the request is worked on, at most kLongestDelay.
  std::chrono::milliseconds delay{0};
  // Bytes per second at which the answer's body is sent and the request's body is read. 0: no
  // limit. As much as the system's socket buffers hold is never slowed.
  uint64_t drip = 0, drip_request = 0;
  // The lowest bit of this byte of an upload's body, or of what a download answers, counted from 0,
  // arrives flipped.
  std::optional<uint64_t> flip_byte = {};
  // Take the request, then send nothing until the client closes. With `cut_after` the headers and
  // that much of the body are sent first.
  bool stall = false;
  // Close after this many bytes of the answer's body.
  std::optional<uint64_t> cut_after = {};
  // Close, without an answer, after this many bytes of the request's body, or at its end.
  std::optional<uint64_t> cut_request_after = {};
  // The call takes effect before the fault, as if its answer were lost on the way. Without this a
  // call with a fault changes nothing.
  bool commit = false;

  static constexpr uint64_t kMostBlanks = uint64_t{1} << 40;
};

// Longest delay and latency.
inline constexpr std::chrono::milliseconds kLongestDelay = std::chrono::hours(24);

// Throws std::invalid_argument unless a request can be made to wait that long.
void CheckDelay(std::chrono::milliseconds delay);

// Throws std::invalid_argument for a fault with values that no answer can have.
void CheckFault(const Fault& fault);

// Faults still to come, in the order in which they were added. Thread-safe.
class FaultPlan {
 public:
  // Throws as CheckFault does.
  void Add(Fault fault);
  void Clear();

  // The fault that hits a request of `call` which has just arrived: the first that matches and has
  // nothing left to skip.
  std::optional<Fault> Take(const std::string& call);

 private:
  base::Mutex mutex_;
  std::deque<Fault> faults_ B2_GUARDED_BY(mutex_);
};

}  // namespace emulator
