#include "emulator/emulator.h"

#include <stdexcept>
#include <utility>

#include "emulator/connection.h"
#include "emulator/core.h"
#include "emulator/random.h"
#include "emulator/server.h"

namespace emulator {
namespace {

Options Completed(Options options) {
  if (options.account_id.empty()) options.account_id = RandomHex(12);
  if (options.key.empty()) options.key = "K001" + RandomHex(27);
  if (options.ca_file.empty()) {
    if (!options.ca_key_file.empty()) throw std::invalid_argument("a CA key file needs a CA file");
    options.ca_file = std::filesystem::temp_directory_path() / ("b2emulator-ca-" + RandomHex(12));
  }
  return options;
}

}  // namespace

void Emulator::RemoveFile::operator()(const std::filesystem::path* file) const {
  std::error_code ignored;  // a file that is gone already, or was never written, is as good
  std::filesystem::remove(*file, ignored);
  delete file;
}

Emulator::Emulator(Options options) {
  const bool wants_ca_file = !options.ca_file.empty();
  const Options complete = Completed(std::move(options));
  if (!wants_ca_file) own_ca_file_.reset(new std::filesystem::path(complete.ca_file));
  core_ = std::make_unique<Core>(complete);
  Core& core = *core_;
  server_ = std::make_unique<Server>(core.options.port,
                                     [&core](Stream& stream) { ServeConnection(core, stream); });
}

Emulator::~Emulator() = default;

uint16_t Emulator::port() const { return server_->port(); }
const std::string& Emulator::account_id() const { return core_->options.account_id; }
const std::string& Emulator::key() const { return core_->options.key; }
const std::filesystem::path& Emulator::ca_file() const { return core_->options.ca_file; }

Store& Emulator::store() { return core_->store; }

void Emulator::AddFault(Fault fault) { core_->faults.Add(std::move(fault)); }
void Emulator::ClearFaults() { core_->faults.Clear(); }

void Emulator::OnRequest(std::function<void(const Request&)> hook) {
  core_->hook.Set(std::move(hook));
}

std::vector<Request> Emulator::requests() const { return core_->log.All(); }
void Emulator::ClearRequests() { core_->log.Clear(); }
void Emulator::RecordRequests(bool on) { core_->log.SetRecording(on); }

size_t Emulator::Count(std::string_view call) const {
  const auto counts = core_->log.Counts();
  const auto found = counts.find(std::string(call));
  return found == counts.end() ? 0 : found->second;
}

void Emulator::ExpireTokens() { core_->access.ExpireAll(); }
void Emulator::CloseIdleConnections() { server_->CloseIdle(); }

void Emulator::DropConnections() { server_->Drop(); }

void Emulator::SetLatency(std::chrono::milliseconds latency) {
  CheckDelay(latency);
  core_->latency = latency;
}

void Emulator::SetLink(const std::optional<LinkSettings>& link) { core_->link.Set(link); }

}  // namespace emulator
