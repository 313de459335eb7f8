#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "emulator/link_settings.h"

namespace emulator {

// How an emulator is set up. The defaults behave as the real service does.
struct Options {
  // IP address to listen at; one that others can reach must be allowed.
  std::string listen = "127.0.0.1";
  bool allow_remote = false;
  // Port; 0 lets the system choose one.
  uint16_t port = 0;
  // Names by which clients reach it without a proxy, for its certificate.
  std::vector<std::string> names = {};
  // Account ID (12 hex digits), also the ID of the master key. Empty: that of `data`, or made up.
  std::string account_id = {};
  // The master key's secret. Empty: that of `data`, or made up (31 characters).
  std::string key = {};
  // Where the CA's certificate is written (PEM), for clients to trust. Empty: a temporary file
  // that goes with the emulator.
  std::filesystem::path ca_file = {};
  // Where the CA's key is kept. When this file and `ca_file` both exist they are used as they
  // are, so several emulators can share one CA. Needs `ca_file`. Empty: a new CA each time, its
  // key not written.
  std::filesystem::path ca_key_file = {};
  // Folder in which everything is kept: what was answered is there again after the process has been
  // killed, the account and the CA too. Empty: everything is in memory.
  std::filesystem::path data = {};
  // Where requests and answers are recorded; and what is played in place of the service. Empty:
  // none.
  std::filesystem::path record = {}, replay = {};
  // Added to every request before it is worked on.
  std::chrono::milliseconds latency{0};
  // What connections go over; none: straight through the machine.
  std::optional<LinkSettings> link = {};
  // Part size that authorize recommends, bytes.
  int64_t recommended_part_size = 100'000'000;
  // Smallest size of a part that is not the last, bytes.
  int64_t absolute_minimum_part_size = 5'000'000;
  // Life of the tokens of accounts and of upload URLs.
  std::chrono::seconds token_life{86400};
  // Largest maxFileCount of a listing.
  int64_t page_cap = 10'000;
  // Credentials that proxy requests must show. Empty user: none asked for.
  std::string proxy_user = {}, proxy_password = {};
  // Keep requests for `Emulator::requests()`. Calls are counted in any case.
  bool record_requests = true;
};

}  // namespace emulator
