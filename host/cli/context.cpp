#include "host/cli/context.h"

#include "host/installation.h"
#include "host/proxy.h"
#include "host/terminal.h"

namespace b2drive::cli {

Context::Context(GlobalOptions options, Transfers& transfers)
    : options_(std::move(options)), transfers_(transfers) {}

PluginLibrary& Context::library() {
  if (library_) return *library_;
  std::filesystem::path folder = ProgramFolder();
  RequireCaBundle(folder);
  if (!options_.log_bodies.empty()) {
    bodies_.emplace(options_.log_bodies);
    PrintToTerminal("b2drive: " + options_.log_bodies +
                    " will hold the service's answers, session tokens among them: keep it to "
                    "yourself for 24 hours");
  }
  log_ = std::make_unique<HostLog>(options_.verbose, bodies_ ? &*bodies_ : nullptr);
  library_ = std::make_unique<PluginLibrary>(
      uses_shipped_plugin() ? ShippedPlugin(folder) : std::filesystem::path(options_.plugin),
      *log_);
  return *library_;
}

const Account& Context::account() {
  if (!account_) account_ = FindAccount();
  return *account_;
}

std::unique_ptr<Session> Context::Connect() {
  SessionOptions settings;
  if (!options_.proxy.empty()) settings.proxy = ParseProxy(options_.proxy);
  settings.limit_kb = options_.limit_kb;
  settings.log_bodies = !options_.log_bodies.empty();
  PluginLibrary& plugin = library();
  return std::make_unique<Session>(plugin, account(), settings);
}

Session& Context::session() {
  if (!session_) session_ = Connect();
  return *session_;
}

Drive& Context::drive() { return session().drive(); }

PathIndex& Context::index() {
  if (!index_) index_ = std::make_unique<PathIndex>(drive());
  return *index_;
}

void Context::EndSession() {
  index_.reset();
  session_.reset();
}

}  // namespace b2drive::cli
