#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "emulator/access.h"
#include "emulator/fault_plan.h"
#include "emulator/options.h"
#include "emulator/request_log.h"
#include "emulator/store.h"

namespace emulator {

struct Core;
class Server;

// A stand-in for the storage service on a port, of 127.0.0.1 unless asked otherwise, which takes
// TLS directly and as an HTTP proxy. Members may be called from any thread.
class Emulator {
 public:
  // Starts it; it answers when the constructor returns, and nothing before `fill` has. Throws
  // std::invalid_argument for options that do not fit, std::runtime_error when something cannot be
  // had, such as the port, and what `fill` throws.
  explicit Emulator(Options options = {}, const std::function<void(Store&)>& fill = {});
  Emulator(const Emulator&) = delete;
  Emulator& operator=(const Emulator&) = delete;
  // Ends all connections, requests in progress among them, and waits for its threads.
  ~Emulator();

  uint16_t port() const;
  const std::string& account_id() const;
  // The master key's secret.
  const std::string& key() const;
  // The CA certificate to trust (PEM).
  const std::filesystem::path& ca_file() const;

  Store& store();

  // Throws std::invalid_argument for a fault with values that no answer can have.
  void AddFault(Fault fault);
  void ClearFaults();

  // From now on `hook` is run for every request of the service (not CONNECT, nor the control host)
  // whose header has arrived, before its fault and its effect, on the thread of its connection: so
  // several runs may go on at once. The request counts already, in Count() too. The hook must not
  // throw, nor call OnRequest. Returns when no run of the previous hook is left. Empty: none.
  void OnRequest(std::function<void(const Request&)> hook);

  // In order of arrival. A request is there, status and body included, once its answer is.
  std::vector<Request> requests() const;
  void ClearRequests();
  // Requests of `call` since the start or the last ClearRequests, recorded or not.
  size_t Count(std::string_view call) const;
  void RecordRequests(bool on);

  // Voids all tokens given out so far, those of upload URLs included (401 expired_auth_token).
  void ExpireTokens();
  // Voids the tokens of all upload URLs given out so far.
  void ExpireUploadUrls();
  // Everything is as it was when it began to answer: buckets, files and keys, no faults, no
  // requests.
  void Reset();
  // While it replays, what has not gone as recorded so far, a line each.
  std::vector<std::string> ReplayComplaints() const;
  // Ends every connection that exists now: idle ones at once, others after their request.
  void CloseIdleConnections();
  // Ends every connection that exists now, at once.
  void DropConnections();
  // Throws std::invalid_argument unless it is between 0 and kLongestDelay.
  void SetLatency(std::chrono::milliseconds latency);
  // For connections that begin from now on.
  void SetLink(const std::optional<LinkSettings>& link);

 private:
  struct RemoveFile {
    void operator()(const std::filesystem::path* file) const;
  };

  // A CA file that nobody asked for, removed at the end.
  std::unique_ptr<const std::filesystem::path, RemoveFile> own_ca_file_;
  std::filesystem::path ca_file_;
  std::unique_ptr<Core> core_;
  std::unique_ptr<Server> server_;  // goes first: its threads use core_
};

}  // namespace emulator
