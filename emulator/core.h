#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

#include "emulator/access.h"
#include "emulator/certificates.h"
#include "emulator/data_folder.h"
#include "emulator/fault_plan.h"
#include "emulator/ledger.h"
#include "emulator/link_settings.h"
#include "emulator/options.h"
#include "emulator/playback.h"
#include "emulator/recorder.h"
#include "emulator/request_hook.h"
#include "emulator/request_log.h"
#include "emulator/service.h"
#include "emulator/store.h"

namespace emulator {

// What all connections of one emulator share. Every member is safe for concurrent use.
struct Core {
  // `options` must be complete: account, key and CA file among them.
  // `folder`: where it is all kept; `replayed`: what answers in place of the service. Or null.
  Core(const Options& complete_options, std::shared_ptr<DataFolder> folder,
       std::unique_ptr<Playback> replayed);
  Core(const Core&) = delete;
  Core& operator=(const Core&) = delete;
  ~Core();

  // Takes what is there now for the state that Reset goes back to.
  void NoteStart();
  // Buckets, files and keys are as they were at the start, tokens of upload URLs are void, requests
  // and faults forgotten, latency and link those of the options.
  void Reset();

  const Options options;
  const std::shared_ptr<DataFolder> data;
  const std::shared_ptr<Ledger> ledger;
  Store store;
  Access access;
  Service service;
  FaultPlan faults;
  RequestLog log;
  RequestHook hook;
  SslContext tls;
  std::atomic<std::chrono::milliseconds> latency;
  LinkChoice link;
  const std::unique_ptr<Recorder> recorder;  // null: nothing is recorded
  const std::unique_ptr<Playback> playback;  // null: the service answers

 private:
  State start_;
  std::vector<KeyPtr> start_keys_;
};

}  // namespace emulator
