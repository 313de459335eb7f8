#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "emulator/link_settings.h"

namespace emulator {

// How an emulator is set up. The defaults behave as the real service does.
struct Options {
  // Port on 127.0.0.1; 0 lets the system choose one.
  uint16_t port = 0;
  // Account ID (12 hex digits), also the ID of the master key. Empty: made up.
  std::string account_id = {};
  // The master key's secret. Empty: made up (31 characters).
  std::string key = {};
  // Where the CA's certificate is written (PEM), for clients to trust. Empty: a temporary file
  // that goes with the emulator.
  std::filesystem::path ca_file = {};
  // Where the CA's key is kept. When this file and `ca_file` both exist they are used as they
  // are, so several emulators can share one CA. Needs `ca_file`. Empty: a new CA each time, its
  // key not written.
  std::filesystem::path ca_key_file = {};
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
