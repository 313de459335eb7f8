#include "emulator/request_log.h"

#include <algorithm>

#include "emulator/names.h"

namespace emulator {

std::string Request::Header(std::string_view name) const {
  const std::string wanted = ToLower(name);
  for (const auto& [key, value] : headers) {
    if (ToLower(key) == wanted) return value;
  }
  return "";
}

uint64_t RequestLog::Begin(const Request& request) {
  base::Lock lock(mutex_);
  ++counts_[request.call];
  const uint64_t ticket = next_ticket_++;
  if (!recording_) return ticket;
  if (requests_.size() == kCapacity) requests_.pop_front();
  requests_.emplace_back(ticket, request);
  return ticket;
}

void RequestLog::Update(uint64_t ticket, const Request& request) {
  base::Lock lock(mutex_);
  const auto found =
      std::lower_bound(requests_.begin(), requests_.end(), ticket,
                       [](const auto& kept, uint64_t wanted) { return kept.first < wanted; });
  if (found != requests_.end() && found->first == ticket) found->second = request;
}

void RequestLog::SetRecording(bool on) {
  base::Lock lock(mutex_);
  recording_ = on;
}

std::vector<Request> RequestLog::All() const {
  base::Lock lock(mutex_);
  std::vector<Request> all;
  all.reserve(requests_.size());
  for (const auto& [ticket, request] : requests_) all.push_back(request);
  return all;
}

std::map<std::string, size_t> RequestLog::Counts() const {
  base::Lock lock(mutex_);
  return counts_;
}

void RequestLog::Clear() {
  base::Lock lock(mutex_);
  requests_.clear();
  counts_.clear();
}

}  // namespace emulator
