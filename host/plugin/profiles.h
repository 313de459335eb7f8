#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/plugin/account.h"

namespace b2drive {

// A profile is an account kept in a file of the user's configuration folder, under a name. This one
// is used where none is named.
inline constexpr char kDefaultProfile[] = "default";

// The profile that `option` names, else B2DRIVE_PROFILE, else the default one. Throws kUsage for
// what cannot be a profile's name.
std::string ChosenProfile(const std::optional<std::string>& option);

// b2drive/account for the default profile, b2drive/profiles/NAME for the others.
std::filesystem::path ProfileFile(const std::string& profile);

// The names of the profiles that there are, sorted.
std::vector<std::string> Profiles();

struct FoundAccount {
  Account account;
  std::string source;  // "the environment", "profile work"
};

// The account of the profile that `option` names, if it does; else the environment's, else the
// chosen profile's. None when nothing names one and there is none. Throws kNoAccount for one that
// cannot be used.
std::optional<FoundAccount> FindAccount(const std::optional<std::string>& option);

}  // namespace b2drive
