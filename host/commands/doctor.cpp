#include <dlfcn.h>
#include <link.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <utility>

#include "host/cli/entry_json.h"
#include "host/commands/commands.h"
#include "host/commands/health.h"
#include "host/plugin/proxy.h"

namespace b2drive::cli {
namespace {

struct DoctorOptions {};

// The file of libcurl that this process has loaded, which only the plug-in needs.
std::string LoadedCurl() {
  std::string file = "libcurl inside it";
  dl_iterate_phdr(
      [](dl_phdr_info* object, std::size_t, void* out) {
        const std::string_view name = object->dlpi_name;
        if (name.find("/libcurl") == std::string_view::npos) return 0;
        *static_cast<std::string*>(out) = name;
        return 1;
      },
      &file);
  return file;
}

// The variable whose proxy libcurl takes when b2drive names none, and its value; empty for none.
std::pair<std::string, std::string> InheritedProxy() {
  for (const char* name : {"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return {name, value};
  }
  return {};
}

class Doctor {
 public:
  explicit Doctor(Context& context) : context_(context) {}

  // In an order in which each says why those behind it fail.
  std::vector<Check> Checks() {
    std::vector<Check> checks = {{"b2drive", [] {
                                    return Finding{Health::kOk, B2DRIVE_VERSION, ""};
                                  }}};
    for (Check& check : MachineChecks()) checks.push_back(std::move(check));
    checks.insert(checks.end(), {{"plug-in", [this] { return LookAtPlugin(); }},
                                 {"account", [this] { return LookAtAccount(); }},
                                 {"certificates", [this] { return LookAtCertificates(); }},
                                 {"proxy", [this] { return LookAtProxy(); }},
                                 {"names", [this] { return LookAtNames(); }},
                                 {"sign-in", [this] { return LookAtSignIn(); }},
                                 {"listing", [this] { return LookAtListing(); }}});
#ifdef B2_WITH_MOUNT
    checks.insert(checks.end(), {{"FUSE", LookAtFuse}, {"cache folder", LookAtCacheFolder}});
#endif
    return checks;
  }

 private:
  using Clock = std::chrono::steady_clock;

  static std::string Since(Clock::time_point start) {
    const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    return std::to_string(time.count()) + " ms";
  }

  Finding LookAtPlugin() {
    const PluginLibrary& library = context_.library();
    return {Health::kOk, library.protocol_name() + " " + library.version() + ", " + LoadedCurl(),
            ""};
  }

  Finding LookAtAccount() {
    auto found = context_.StoredAccount();
    if (!found) {
      return {Health::kFailed, "none",
              "sign in with b2drive login, or set the environment's "
              "B2_APPLICATION_KEY_ID and B2_APPLICATION_KEY"};
    }
    context_.SetAccount(*found);
    has_account_ = true;
    return {Health::kOk, "key " + found->account.key_id + " from " + found->source, ""};
  }

  Finding LookAtCertificates() {
    const std::string file = context_.ca_file();
    if (file.empty()) return {Health::kOk, "those that come with b2drive", ""};
    context_.RequireCaFile();
    return {Health::kOk, "those that come with b2drive, and " + file, ""};
  }

  Finding LookAtProxy() {
    const auto proxy = context_.proxy();
    if (proxy) return cli::LookAtProxy(proxy->host, proxy->port);
    const auto [variable, value] = InheritedProxy();
    if (variable.empty()) return {Health::kOk, "none is set", ""};
    const _PROXYINFO inherited = ParseProxy(value);
    Finding finding = cli::LookAtProxy(inherited.host, inherited.port);
    finding.text.append(" (").append(variable).append(")");
    return finding;
  }

  // SOCKS proxies are given addresses.
  Finding LookAtNames() {
    const auto proxy = context_.proxy();
    const bool resolves = proxy ? proxy->type.starts_with("HTTP") : !InheritedProxy().first.empty();
    if (resolves) return {Health::kOk, "left to the proxy", ""};
    return cli::LookAtNames();
  }

  Finding LookAtSignIn() {
    if (!has_account_) return {Health::kSkipped, "not tried without an account", ""};
    const auto start = Clock::now();
    session_ = context_.Connect();
    return {Health::kOk, session_->ServiceName() + ", " + Since(start), ""};
  }

  Finding LookAtListing() {
    if (!session_) return {Health::kSkipped, "not tried without a session", ""};
    const auto start = Clock::now();
    const std::size_t buckets = session_->drive().List("", "/").size();
    return {Health::kOk,
            std::to_string(buckets) + (buckets == 1 ? " bucket, " : " buckets, ") + Since(start),
            ""};
  }

  Context& context_;
  bool has_account_ = false;
  std::unique_ptr<Session> session_;
};

Finding Look(const Check& check) {
  try {
    return check.look();
  } catch (const std::exception& error) {
    return {Health::kFailed, error.what(), ""};
  }
}

const char* Word(Health health) {
  switch (health) {
    case Health::kOk:
      return "ok";
    case Health::kWarning:
      return "warning";
    case Health::kSkipped:
      return "skipped";
    case Health::kFailed:
      break;
  }
  return "FAILED";
}

void Print(const Check& check, const Finding& finding) {
  std::cout << std::left << std::setw(9) << Word(finding.health) << std::setw(14) << check.name
            << Shown(finding.text) << (finding.advice.empty() ? "" : "; ") << finding.advice
            << std::endl;
}

ExitCode RunDoctor(Context& context, const DoctorOptions&) {
  Doctor doctor(context);
  bool well = true;
  Json findings = Json::array();
  for (const Check& check : doctor.Checks()) {
    const Finding finding = Look(check);
    well = well && finding.health != Health::kFailed;
    if (!context.json()) Print(check, finding);
    findings.push_back({{"check", check.name},
                        {"state", Word(finding.health)},
                        {"text", finding.text},
                        {"advice", finding.advice}});
  }
  if (context.json()) PrintJson({{"ok", well}, {"checks", findings}});
  return well ? ExitCode::kSuccess : ExitCode::kFailed;
}

}  // namespace

void AddDoctorCommand(CLI::App& app, Selected& selected) {
  CLI::App* doctor =
      app.add_subcommand("doctor", "Check what b2drive needs: network, account, service, mounting");
  doctor->footer(
      "A line for each check: ok, warning, FAILED or skipped, and what to do. Nothing in it is "
      "secret. The\n"
      "exit code is 1 when a check failed. The service is asked to sign in and for the buckets.");
  Choose(doctor, selected, std::make_shared<DoctorOptions>(), RunDoctor);
}

}  // namespace b2drive::cli
