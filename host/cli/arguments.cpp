#include "host/cli/arguments.h"

#include <algorithm>
#include <string>
#include <vector>

namespace b2drive::cli {
namespace {

// Before an argument in brackets, so that it does not begin with one while CLI11 has it.
constexpr char kGuard = '\x02';

std::string Unguarded(std::string text) {
  if (text.starts_with(kGuard)) text.erase(0, 1);
  return text;
}

void TakeGuardsOff(CLI::App& app) {
  for (CLI::Option* option : app.get_options()) {
    if (option->get_items_expected_max() > 0) option->transform(Unguarded);
  }
  for (CLI::App* below : app.get_subcommands({})) TakeGuardsOff(*below);
}

}  // namespace

void ParseArguments(CLI::App& app, int argc, char** argv) {
  TakeGuardsOff(app);
  std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  for (std::string& argument : arguments) {
    if (argument.starts_with('[') && argument.ends_with(']')) argument.insert(0, 1, kGuard);
  }
  std::ranges::reverse(arguments);  // as CLI11 takes them
  app.parse(std::move(arguments));
}

CLI::Option* NotEmpty(CLI::Option* option) {
  const auto refuse = [](const std::string& text) { return text.empty() ? "is empty" : ""; };
  return option->check(refuse, "", "");
}

}  // namespace b2drive::cli
