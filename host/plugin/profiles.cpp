#include "host/plugin/profiles.h"

#include <algorithm>
#include <cstdlib>

#include "host/common/errors.h"
#include "host/terminal/text_format.h"

namespace b2drive {
namespace fs = std::filesystem;
namespace {

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

fs::path ConfigurationFolder() {
  fs::path folder = Environment("XDG_CONFIG_HOME");
  if (!folder.is_absolute()) folder = fs::path(Environment("HOME")) / ".config";
  return folder / "b2drive";
}

fs::path ProfilesFolder() { return ConfigurationFolder() / "profiles"; }

// A name that is a file's, that no option looks like, and that a terminal shows as it is.
bool IsProfileName(const std::string& name) {
  constexpr std::size_t kMostBytes = 100;
  return !name.empty() && name.size() <= kMostBytes && name.front() != '.' && name.front() != '-' &&
         name.find('/') == std::string::npos && EscapeControls(name) == name;
}

bool IsThere(const fs::path& file) {
  std::error_code ignored;  // a file that cannot be looked at is reported when it is read
  return fs::symlink_status(file, ignored).type() != fs::file_type::not_found;
}

std::optional<FoundAccount> AccountOfEnvironment() {
  Account account{Environment("B2_APPLICATION_KEY_ID"), Environment("B2_APPLICATION_KEY"),
                  Environment("B2_ACCOUNT_ID")};
  if (!account.key_id.empty() && !account.key.empty()) return {{account, "the environment"}};
  if (account.key_id.empty() && account.key.empty()) return std::nullopt;
  throw HostError(ExitCode::kNoAccount,
                  "environment: set both B2_APPLICATION_KEY_ID and B2_APPLICATION_KEY");
}

}  // namespace

std::string ChosenProfile(const std::optional<std::string>& option) {
  const std::string inherited = Environment("B2DRIVE_PROFILE");
  std::string name = option ? *option : inherited.empty() ? kDefaultProfile : inherited;
  if (IsProfileName(name)) return name;
  throw HostError(ExitCode::kUsage,
                  (option ? "--profile: " : "B2DRIVE_PROFILE: ") + EscapeControls(name) +
                      ": a profile's name has up to 100 bytes, no slashes or control characters, "
                      "and no dot or dash in front");
}

fs::path ProfileFile(const std::string& profile) {
  if (profile == kDefaultProfile) return ConfigurationFolder() / "account";
  return ProfilesFolder() / profile;
}

std::vector<std::string> Profiles() {
  std::vector<std::string> names;
  if (IsThere(ProfileFile(kDefaultProfile))) names.emplace_back(kDefaultProfile);
  std::error_code error;
  for (fs::directory_iterator at(ProfilesFolder(), error), end; !error && at != end;
       at.increment(error)) {
    const std::string name = at->path().filename();
    if (IsProfileName(name) && name != kDefaultProfile) names.push_back(name);
  }
  std::ranges::sort(names);
  return names;
}

std::optional<FoundAccount> FindAccount(const std::optional<std::string>& option) {
  if (!option) {
    if (auto found = AccountOfEnvironment()) return found;
  }
  const std::string profile = ChosenProfile(option);
  const fs::path file = ProfileFile(profile);
  const bool is_default = profile == kDefaultProfile && !option;
  if (IsThere(file)) {
    Account account = ReadAccountFile(file);
    if (is_default && account.account_id.empty()) {
      account.account_id = Environment("B2_ACCOUNT_ID");
    }
    return {{account, "profile " + profile}};
  }
  if (is_default) return std::nullopt;
  throw HostError(
      ExitCode::kNoAccount,
      "profile " + profile + ": there is none; b2drive login --profile " + profile + " makes it");
}

}  // namespace b2drive
