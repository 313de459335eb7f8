#pragma once

#include <atomic>
#include <chrono>

#include "emulator/access.h"
#include "emulator/certificates.h"
#include "emulator/fault_plan.h"
#include "emulator/link_settings.h"
#include "emulator/options.h"
#include "emulator/request_hook.h"
#include "emulator/request_log.h"
#include "emulator/service.h"
#include "emulator/store.h"

namespace emulator {

// What all connections of one emulator share. Every member is safe for concurrent use.
struct Core {
  // `options` must be complete: account, key and CA file among them.
  explicit Core(const Options& complete_options);

  const Options options;
  Store store;
  Access access;
  Service service;
  FaultPlan faults;
  RequestLog log;
  RequestHook hook;
  SslContext tls;
  std::atomic<std::chrono::milliseconds> latency;
  LinkChoice link;
};

}  // namespace emulator
