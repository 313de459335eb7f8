#include <algorithm>
#include <cctype>
#include <iostream>

#include "host/cli/entry_json.h"
#include "host/commands/commands.h"
#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"

namespace b2drive::cli {
namespace {

namespace fs = std::filesystem;

struct LoginOptions {
  bool force = false;
};

Account TypedAccount() {
  if (StdinIsTerminal()) return AskForAccount();
  const std::string key_id = ReadInputLine();
  const std::string key = ReadInputLine();
  // As the file will be read, so that what it would not take is refused here.
  return ParseAccount("application_key_id = " + key_id + "\napplication_key = " + key,
                      "standard input, which must give the key ID and the key, a line each");
}

// The key ID in `file`; empty without a file, "another" for one that cannot be read.
std::string StoredKeyId(const fs::path& file) {
  std::error_code ignored;
  if (fs::symlink_status(file, ignored).type() == fs::file_type::not_found) return "";
  try {
    return ReadAccountFile(file).key_id;
  } catch (const HostError&) {
    return "another";
  }
}

void ConfirmReplacement(const std::string& profile, const fs::path& file,
                        const std::string& key_id) {
  const std::string stored = StoredKeyId(file);
  if (stored.empty() || stored == key_id) return;
  const std::string holds =
      "profile " + profile + ": " + file.string() + " holds the key " + stored;
  if (!StdinIsTerminal()) {
    throw HostError(ExitCode::kExists,
                    holds + "; --force replaces it, --profile keeps both under names");
  }
  if (!Confirm(EscapeControls(holds) + ". Replace it?")) {
    throw HostError(ExitCode::kNotConfirmed, "profile " + profile + ": nothing was changed");
  }
}

ExitCode RunLogin(Context& context, const LoginOptions& options) {
  const std::string profile = context.profile();
  const fs::path file = ProfileFile(profile);
  Account account = TypedAccount();
  if (!options.force) ConfirmReplacement(profile, file, account.key_id);
  context.SetAccount({account, "profile " + profile});
  const std::string account_id = context.drive().SignIn()->sign_in_answer().account_id;
  // What the service says must not become lines of the file.
  const bool plain = std::ranges::all_of(
      account_id, [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; });
  if (!account_id.empty() && plain && account_id != account.AccountId()) {
    account.account_id = account_id;
  }
  WriteAccountFile(file, account);
  if (context.json()) {
    PrintJson({{"profile", profile}, {"key_id", account.key_id}, {"file", file.string()}});
  } else {
    std::cout << "profile " << profile << ": signed in with the key " << Shown(account.key_id)
              << ", which stands in " << Shown(file.string()) << " now\n";
  }
  return ExitCode::kSuccess;
}

}  // namespace

void AddLoginCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<LoginOptions>();
  CLI::App* login = app.add_subcommand("login", "Store an account, once the service accepts it");
  login->add_flag("--force", options->force, "Replace another account without asking");
  login->footer(
      "Asks for key ID and key on the terminal; when standard input is none, reads them from it,\n"
      "a line each. Never give a key on a command line, where others can see it. The account is\n"
      "stored in a file of mode 0600, under --profile or B2DRIVE_PROFILE or else as the default.");
  Choose(login, selected, options, RunLogin);
}

}  // namespace b2drive::cli
