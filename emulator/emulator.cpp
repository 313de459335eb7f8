#include "emulator/emulator.h"

#include <stdexcept>
#include <utility>

#include "emulator/connection.h"
#include "emulator/core.h"
#include "emulator/random.h"
#include "emulator/server.h"

namespace emulator {
namespace {

Address AddressOf(const Options& options) {
  Address address = ParseAddress(options.listen, options.port);
  if (!address.loopback && !options.allow_remote) {
    throw std::invalid_argument("others can reach " + options.listen +
                                ": --allow-remote must be given too");
  }
  return address;
}

// The account is the folder's, once it has one.
void TakeAccount(const Account& account, Options& options) {
  if (!options.account_id.empty() && options.account_id != account.id) {
    throw std::invalid_argument(options.data.string() + ": is of the account " + account.id);
  }
  options.account_id = account.id;
  if (options.key.empty()) options.key = account.key;
}

Options Completed(Options options, const DataFolder* data) {
  if (data != nullptr) {
    if (data->account()) TakeAccount(*data->account(), options);
    // A CA file of the user's own goes with a key file of the user's own, or is a copy.
    if (options.ca_key_file.empty()) {
      options.ca_file = options.data / "ca.pem";
      options.ca_key_file = options.data / "ca-key.pem";
    }
  }
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

Emulator::Emulator(Options options, const std::function<void(Store&)>& fill)
    : ca_file_(options.ca_file) {
  const Address address = AddressOf(options);
  std::shared_ptr<DataFolder> data;
  if (!options.data.empty()) data = std::make_shared<DataFolder>(options.data);
  std::unique_ptr<Playback> playback;
  if (!options.replay.empty()) playback = std::make_unique<Playback>(options.replay);
  if (playback && options.account_id.empty()) options.account_id = playback->AccountId();
  const Options complete = Completed(std::move(options), data.get());
  const bool own_ca_file = ca_file_.empty() && !data;
  if (own_ca_file) own_ca_file_.reset(new std::filesystem::path(complete.ca_file));
  core_ = std::make_unique<Core>(complete, std::move(data), std::move(playback));
  if (ca_file_.empty()) ca_file_ = complete.ca_file;
  if (ca_file_ != complete.ca_file) CopyWhole(complete.ca_file, ca_file_);
  Core& core = *core_;
  server_ =
      std::make_unique<Server>(address, [&core](Stream& stream) { ServeConnection(core, stream); });
  if (fill) fill(core.store);
  core.NoteStart();
  server_->Start();
}

Emulator::~Emulator() = default;

uint16_t Emulator::port() const { return server_->port(); }
const std::string& Emulator::account_id() const { return core_->options.account_id; }
const std::string& Emulator::key() const { return core_->options.key; }
const std::filesystem::path& Emulator::ca_file() const { return ca_file_; }

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
void Emulator::ExpireUploadUrls() { core_->access.ExpireUploads(); }
void Emulator::CloseIdleConnections() { server_->CloseIdle(); }

std::vector<std::string> Emulator::ReplayComplaints() const {
  return core_->playback ? core_->playback->Complaints() : std::vector<std::string>{};
}

void Emulator::Reset() { core_->Reset(); }

void Emulator::DropConnections() { server_->Drop(); }

void Emulator::SetLatency(std::chrono::milliseconds latency) {
  CheckDelay(latency);
  core_->latency = latency;
}

void Emulator::SetLink(const std::optional<LinkSettings>& link) { core_->link.Set(link); }

}  // namespace emulator
