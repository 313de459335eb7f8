#include "host/cli/filter_options.h"

#include <functional>
#include <string>

#include "host/common/errors.h"

namespace b2drive::cli {
namespace {

// `add` is called at once, since the order among several options counts.
void AddRuleOption(CLI::App* command, const char* name, const char* what, const char* argument,
                   const std::function<void(const std::string&)>& add) {
  command->add_option_function<std::string>(name, add, what)
      ->trigger_on_parse()
      ->type_name(argument)
      ->group("Filters");
}

}  // namespace

void AddFilterOptions(CLI::App* command, Filter& filter) {
  AddRuleOption(command, "--include", "Take what matches, whatever comes later", "GLOB",
                [&](const std::string& rule) { filter.Include(rule); });
  AddRuleOption(command, "--exclude",
                "Leave out what matches; a folder with everything in it. The first of all these "
                "options that matches decides",
                "GLOB", [&](const std::string& rule) { filter.Exclude(rule); });
  AddRuleOption(command, "--exclude-from",
                "One GLOB to leave out a line, + GLOB to take; # begins a comment", "FILE",
                [&](const std::string& file) {
                  try {
                    filter.ExcludeFrom(file);
                  } catch (const HostError& error) {
                    throw CLI::ValidationError("--exclude-from", error.what());
                  }
                });
}

}  // namespace b2drive::cli
