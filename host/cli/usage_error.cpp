#include "host/cli/usage_error.h"

#include <algorithm>
#include <cstdint>

namespace b2drive::cli {
namespace {

constexpr int kExtras = static_cast<int>(CLI::ExitCodes::ExtrasError);

// How many letters must be changed, added, left out, or exchanged with their neighbour.
std::size_t Distance(const std::string& from, const std::string& to) {
  const std::size_t width = to.size() + 1;
  std::vector<std::size_t> steps((from.size() + 1) * width);
  for (std::size_t i = 0; i <= from.size(); ++i) {
    for (std::size_t j = 0; j <= to.size(); ++j) {
      std::size_t& here = steps[i * width + j];
      here = std::max(i, j);
      if (i == 0 || j == 0) continue;
      const bool same = from[i - 1] == to[j - 1];
      here = std::min({steps[(i - 1) * width + j] + 1, steps[i * width + j - 1] + 1,
                       steps[(i - 1) * width + j - 1] + (same ? 0 : 1)});
      const bool exchanged = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (exchanged) here = std::min(here, steps[(i - 2) * width + j - 2] + 1);
    }
  }
  return steps.back();
}

std::string DidYouMean(const std::string& word, const std::vector<std::string>& names) {
  const std::string nearest = NearestName(word, names);
  return nearest.empty() ? "" : "; did you mean " + nearest + "?";
}

std::string SeeHelp(const std::string& command) {
  return " (see b2drive " + (command.empty() ? "" : command + " ") + "--help)";
}

std::vector<std::string> OptionNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

std::string Unexpected(const CLI::App& app, const CLI::App* command, const std::string& word) {
  if (word.size() < 2 || word.front() != '-') return word + ": not expected";
  std::vector<std::string> names = OptionNames(app);
  if (command != nullptr) std::ranges::copy(OptionNames(*command), std::back_inserter(names));
  return word + ": no such option" + DidYouMean(word.substr(0, word.find('=')), names);
}

std::string FirstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

}  // namespace

std::string NearestName(const std::string& word, const std::vector<std::string>& names) {
  std::string nearest;
  std::size_t least = std::max<std::size_t>(1, word.size() / 3) + 1;
  for (const std::string& name : names) {
    const std::size_t distance = Distance(word, name);
    if (distance >= std::min(least, name.size())) continue;
    least = distance;
    nearest = name;
  }
  return nearest;
}

std::string NoSuchCommand(const CLI::App& app, const std::string& word) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
  return word + ": no such command" + DidYouMean(word, names) +
         SeeHelp(app.get_parent() != nullptr ? app.get_name() : "");
}

std::string UsageErrorText(const CLI::App& app, const CLI::ParseError& error) {
  const auto chosen = app.get_subcommands();
  const CLI::App* command = chosen.empty() ? nullptr : chosen.front();
  const std::vector<std::string> rest = app.remaining(true);
  if (command == nullptr) {
    const auto word =
        std::ranges::find_if(rest, [](const auto& each) { return !each.starts_with('-'); });
    const bool first = !rest.empty() && rest.front() == (word != rest.end() ? *word : "");
    if (first) return NoSuchCommand(app, *word);
  }
  const std::string name = command != nullptr ? command->get_name() : "";
  const bool has_commands = command != nullptr && !command->get_subcommands({}).empty();
  if (has_commands && !rest.empty() && !rest.front().starts_with('-')) {
    return name + ": " + NoSuchCommand(*command, rest.front());
  }
  const bool unexpected = !rest.empty() && (command == nullptr || error.get_exit_code() == kExtras);
  const std::string cause =
      unexpected ? Unexpected(app, command, rest.front()) : FirstLine(error.what());
  return (name.empty() ? "" : name + ": ") + cause + SeeHelp(name);
}

}  // namespace b2drive::cli
