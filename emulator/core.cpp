#include "emulator/core.h"

#include <string>
#include <utility>

#include "emulator/address.h"

namespace emulator {
namespace {

std::vector<std::string> HostsOf(const Options& options) {
  std::vector<std::string> hosts{AlternativeName(options.listen)};
  for (const std::string& name : options.names) hosts.push_back(AlternativeName(name));
  return hosts;
}

}  // namespace

Core::Core(const Options& complete_options, std::shared_ptr<DataFolder> folder,
           std::unique_ptr<Playback> replayed)
    : options(complete_options),
      data(std::move(folder)),
      ledger(data ? std::shared_ptr<Ledger>(data) : std::make_shared<Ledger>()),
      store(options.absolute_minimum_part_size, ledger),
      access(options.account_id, options.key, options.token_life, ledger),
      service(options, store, access),
      tls(MakeServerContext(options.ca_file, options.ca_key_file, HostsOf(options))),
      latency(options.latency),
      link(options.link),
      recorder(options.record.empty() ? nullptr : std::make_unique<Recorder>(options.record)),
      playback(std::move(replayed)) {
  CheckDelay(options.latency);
  log.SetRecording(options.record_requests);
  if (!data) return;
  const Kept kept = data->TakeKept();
  store.Restore(kept.state);
  access.Restore(kept.keys);
  if (kept.account) access.ContinueEarlierRun();
  data->Put(Account{options.account_id, options.key});
  data->StartReleasing();
}

Core::~Core() {
  if (data) data->StopReleasing();
}

void Core::NoteStart() {
  start_ = store.Export();
  start_keys_ = access.Keys();
}

void Core::Reset() {
  store.Replace(start_);
  access.Replace(start_keys_);
  faults.Clear();
  log.Clear();
  latency = options.latency;
  link.Set(options.link);
}

}  // namespace emulator
