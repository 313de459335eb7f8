#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/thread_safety.h"

namespace emulator {

// One request as it arrived, and what became of it.
struct Request {
  std::string method;
  std::string host;    // lower case, without port
  std::string target;  // path and query as sent
  // "b2_list_file_names" and so on, "download_by_name" for /file/..., "CONNECT" for a tunnel, ""
  // for a path the service does not know.
  std::string call;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;         // of JSON calls only
  uint64_t body_bytes = 0;  // of the request's body, as far as it was received
  int status = 0;           // of the answer; 0: none was sent
  bool secure = false;      // came under TLS
  std::chrono::steady_clock::time_point arrived = {};

  // The header's first value, names compared without regard to case; "" when absent.
  std::string Header(std::string_view name) const;
};

// The last requests in order of arrival, and counters of all. Thread-safe.
class RequestLog {
 public:
  // This many of the latest requests are kept.
  static constexpr size_t kCapacity = 100'000;

  // Counts a request that has arrived and, when recording, keeps it. Returns its ticket.
  uint64_t Begin(const Request& request);

  // Replaces what is kept under the ticket.
  void Update(uint64_t ticket, const Request& request);

  void SetRecording(bool on);
  std::vector<Request> All() const;
  std::map<std::string, size_t> Counts() const;

  // Forgets requests and counts.
  void Clear();

 private:
  mutable base::Mutex mutex_;
  bool recording_ B2_GUARDED_BY(mutex_) = true;
  // Tickets grow from front to back.
  std::deque<std::pair<uint64_t, Request>> requests_ B2_GUARDED_BY(mutex_);
  std::map<std::string, size_t> counts_ B2_GUARDED_BY(mutex_);
  uint64_t next_ticket_ B2_GUARDED_BY(mutex_) = 1;
};

// The log's entry of one request in hand.
class LogEntry {
 public:
  // `request` must live as long as the entry.
  LogEntry(RequestLog& log, const Request& request)
      : log_(log), request_(request), ticket_(log.Begin(request)) {}
  LogEntry(const LogEntry&) = delete;
  LogEntry& operator=(const LogEntry&) = delete;
  ~LogEntry() { Update(); }

  // Shows in the log what has become of the request by now.
  void Update() { log_.Update(ticket_, request_); }

 private:
  RequestLog& log_;
  const Request& request_;
  uint64_t ticket_;
};

}  // namespace emulator
