#include "host/cli/context.h"

#include <cstdlib>
#include <filesystem>

#include "host/common/errors.h"
#include "host/local/certificates.h"
#include "host/local/installation.h"
#include "host/plugin/proxy.h"
#include "host/terminal/output_style.h"
#include "host/terminal/report.h"
#include "host/terminal/terminal.h"

namespace b2drive::cli {
namespace {

std::optional<_PROXYINFO> ChosenProxy(const std::optional<std::string>& option) {
  const char* inherited = std::getenv("B2DRIVE_PROXY");
  const std::string url = option ? *option : inherited != nullptr ? inherited : "";
  if (url.empty()) return std::nullopt;
  _PROXYINFO proxy = ParseProxy(url);
  if (option && !proxy.password.empty()) {
    throw HostError(ExitCode::kUsage,
                    "--proxy: others can see a password on a command line; put the proxy into "
                    "B2DRIVE_PROXY");
  }
  return proxy;
}

std::string ChosenCaFile(const std::string& option) {
  const char* const inherited = std::getenv("SSL_CERT_FILE");
  const std::string file = option.empty() && inherited != nullptr ? inherited : option;
  return file.empty() ? "" : std::filesystem::absolute(file).string();
}

}  // namespace

Context::Context(GlobalOptions options, Transfers& transfers)
    : options_(std::move(options)),
      ca_file_(ChosenCaFile(options_.ca_file)),
      transfers_(transfers) {}

PluginLibrary& Context::library() {
  if (library_) return *library_;
  std::filesystem::path folder = ProgramFolder();
  RequireCaBundle(folder);
  if (!options_.log_bodies.empty()) {
    bodies_.emplace(options_.log_bodies);
    Note("", options_.log_bodies +
                 " will hold the service's answers, session tokens among them: keep it to "
                 "yourself for 24 hours");
  }
  log_ = std::make_unique<HostLog>(options_.verbosity > 1, bodies_ ? &*bodies_ : nullptr);
  library_ = std::make_unique<PluginLibrary>(
      uses_shipped_plugin() ? ShippedPlugin(folder) : std::filesystem::path(options_.plugin),
      *log_);
  return *library_;
}

const Account& Context::account() {
  if (!account_) account_ = StoredAccount();
  if (!account_) account_ = {AskForAccount(), "the terminal"};
  return account_->account;
}

std::optional<FoundAccount> Context::StoredAccount() const { return FindAccount(options_.profile); }

void Context::SetAccount(FoundAccount found) { account_ = std::move(found); }

std::optional<_PROXYINFO> Context::proxy() const { return ChosenProxy(options_.proxy); }

void Context::RequireCaFile() const {
  if (!ca_file_.empty()) RequireCertificates(ca_file_, "--ca-file or SSL_CERT_FILE");
}

std::unique_ptr<Session> Context::Connect(View view) {
  RequireCaFile();
  SessionOptions settings;
  settings.proxy = proxy();
  settings.limit = options_.limit;
  settings.log_bodies = !options_.log_bodies.empty();
  settings.details = details_ || view != View::kFiles;
  settings.hide = hide_;
  settings.view = view;
  settings.ca_file = ca_file_;
  settings.upload_connections = upload_connections_;
  PluginLibrary& plugin = library();
  return std::make_unique<Session>(plugin, account(), settings);
}

// Each wait is told where somebody looks.
Patience Context::ThePatience() const {
  Patience patience{options_.retries, uses_shipped_plugin(), {}};
  if (TheOutputStyle().verbose || StderrIsTerminal()) {
    patience.tell = [](const std::string& text) { Note("", text); };
  }
  return patience;
}

PatientDrive& Context::drive() {
  if (drive_) return *drive_;
  library();
  account();
  live_ = std::make_unique<LiveSession>([this] { return Connect(); });
  drive_ = std::make_unique<PatientDrive>(*live_, transfers_, ThePatience());
  return *drive_;
}

ViewedDrive Context::Open(View view) {
  RequireOwnPlugin();
  library();
  account();
  auto live = std::make_unique<LiveSession>([this, view] { return Connect(view); });
  auto drive = std::make_unique<PatientDrive>(*live, transfers_, ThePatience());
  return {std::move(live), std::move(drive)};
}

void Context::HideOnDelete() {
  RequireOwnPlugin();
  hide_ = true;
}

void Context::RequireOwnPlugin() const {
  if (uses_shipped_plugin()) return;
  throw HostError(ExitCode::kNoPlugin,
                  "this needs the plug-in that belongs to b2drive, without --plugin");
}

PathIndex& Context::index() {
  if (index_) return *index_;
  PatientDrive& service = drive();
  index_ = std::make_unique<PathIndex>(
      [&](const std::string& id, const std::string& path, ListingReceiver& receiver) {
        service.List(id, path, receiver);
      });
  return *index_;
}

void Context::EndSession() {
  index_.reset();
  drive_.reset();
  live_.reset();
}

}  // namespace b2drive::cli
