#include "host/cli/filter_options.h"

#include <functional>
#include <string>

#include "host/common/errors.h"

namespace b2drive::cli {
namespace {

// `add` is called at once, since the order among several options counts.
void AddRuleOption(CLI::App* command, const char* name, const char* what, const char* argument,
                   const std::function<void(const std::string&)>& add) {
  const auto add_or_refuse = [name, add](const std::string& rule) {
    try {
      add(rule);
    } catch (const HostError& error) {
      throw CLI::ValidationError(name, error.what());
    }
  };
  command->add_option_function<std::string>(name, add_or_refuse, what)
      ->trigger_on_parse()
      ->type_name(argument)
      ->group("Filters");
}

}  // namespace

void AddFilterOptions(CLI::App* command, Filter& filter) {
  AddRuleOption(command, "--include",
                "Take what matches, whatever comes later; what no rule matches is taken, too",
                "GLOB", [&](const std::string& rule) { filter.Include(rule); });
  AddRuleOption(command, "--exclude",
                "Leave out what matches; a folder with everything in it. The first of all these "
                "options that matches decides",
                "GLOB", [&](const std::string& rule) { filter.Exclude(rule); });
  AddRuleOption(command, "--exclude-from",
                "One GLOB to leave out a line, + GLOB to take; # begins a comment", "FILE",
                [&](const std::string& file) { filter.ExcludeFrom(file); });
  command->parse_complete_callback([&filter] {
    if (!filter.TakesAll()) return;
    throw CLI::ValidationError("--include",
                               "leaves nothing out by itself: add --exclude '*' behind it");
  });
}

}  // namespace b2drive::cli
