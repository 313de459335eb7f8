#include "emulator/core.h"

namespace emulator {

Core::Core(const Options& complete_options)
    : options(complete_options),
      store(options.absolute_minimum_part_size),
      access(options.account_id, options.key, options.token_life),
      service(options, store, access),
      tls(MakeServerContext(options.ca_file, options.ca_key_file)),
      latency(options.latency),
      link(options.link) {
  CheckDelay(options.latency);
  log.SetRecording(options.record_requests);
}

}  // namespace emulator
