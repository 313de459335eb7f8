#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "emulator/access.h"
#include "emulator/message.h"
#include "emulator/options.h"
#include "emulator/store.h"

namespace emulator {

// The service behind HTTP: turns requests into calls on the store. Thread-safe.
class Service {
 public:
  Service(const Options& options, Store& store, Access& access);

  // Fills `record.call`, `version` and `rest` of a request from its path.
  static void Route(Incoming& incoming);

  // Whether `call` is what Route names a call that exists.
  static bool Knows(const std::string& call);

  // Whether the routed request has an effect beyond its answer.
  static bool Changes(const Incoming& incoming);

  // Whether the call's body is content, not JSON.
  static bool IsUpload(const std::string& call);

  // Answers a routed request. A JSON body is in its record already, that of an upload is read from
  // `upload`. Refusals become answers; only Aborted is thrown.
  Answer Handle(const Incoming& incoming, BodySource& upload);

 private:
  Answer Dispatch(const Incoming& incoming, BodySource& upload);
  Answer Authorize(const Incoming& incoming) const;
  Answer CallByName(const Incoming& incoming);
  void MisbehaveAsAsked(const Request& request, bool stores);

  const Options options_;
  Store& store_;
  Access& access_;
  std::atomic<uint64_t> test_mode_uploads_ = 0;
  std::atomic<uint64_t> test_mode_calls_ = 0;
};

}  // namespace emulator
