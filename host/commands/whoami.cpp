#include <iostream>

#include "host/cli/entry_json.h"
#include "host/commands/commands.h"

namespace b2drive::cli {
namespace {

struct WhoamiOptions {};

// What the service does not say is null; so is what it does not limit, if it says what it allows.
Json Describe(Context& context) {
  const std::shared_ptr<Session> session = context.drive().SignIn();
  const SignInAnswer& key = session->sign_in_answer();
  const Account& account = context.account();
  const auto text_or_null = [](const std::string& text) {
    return text.empty() ? Json() : Json(text);
  };
  return {{"account_id", key.account_id.empty() ? account.AccountId() : key.account_id},
          {"key_id", account.key_id},
          {"source", context.account_source()},
          {"service", session->ServiceName()},
          {"bucket", text_or_null(key.bucket)},
          {"prefix", text_or_null(key.prefix)},
          {"capabilities", key.capabilities.empty() ? Json() : Json(key.capabilities)}};
}

std::string Joined(const Json& words) {
  std::string text;
  for (const std::string word : words) text += (text.empty() ? "" : ", ") + word;
  return text;
}

void Print(const Json& who) {
  const bool limits_known = !who["capabilities"].is_null();
  const auto limit = [&](const char* name, const char* none) -> std::string {
    if (who[name].is_string()) return who[name];
    return limits_known ? none : "unknown";
  };
  const std::pair<const char*, std::string> rows[] = {
      {"account:", who["account_id"]},
      {"key ID:", who["key_id"]},
      {"from:", who["source"]},
      {"service:", who["service"]},
      {"bucket:", limit("bucket", "all")},
      {"names:", limit("prefix", "all")},
      {"may:", limits_known ? Joined(who["capabilities"]) : "unknown"}};
  for (const auto& [name, text] : rows) {
    std::cout << std::left << std::setw(10) << name << Shown(text) << "\n";
  }
}

ExitCode RunWhoami(Context& context, const WhoamiOptions&) {
  const Json who = Describe(context);
  if (context.json()) {
    PrintJson(who);
  } else {
    Print(who);
  }
  return ExitCode::kSuccess;
}

}  // namespace

void AddWhoamiCommand(CLI::App& app, Selected& selected) {
  CLI::App* whoami =
      app.add_subcommand("whoami", "Show the account, its key's limits and what the key may do");
  whoami->footer(
      "from: where the account was found. names: what the names begin with that the key reaches.");
  Choose(whoami, selected, std::make_shared<WhoamiOptions>(), RunWhoami);
}

}  // namespace b2drive::cli
