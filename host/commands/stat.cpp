#include <iostream>

#include "host/cli/entry_json.h"
#include "host/commands/commands.h"

namespace b2drive::cli {
namespace {

struct StatOptions {
  std::string path;
};

ExitCode RunStat(Context& context, const StatOptions& options) {
  const PathArgument argument(options.path);
  Json json = ToJson(context.index().Find(argument), argument.path);
  if (IsRoot(argument.path)) json["type"] = "root";
  if (context.json()) {
    PrintJson(json);
    return ExitCode::kSuccess;
  }
  for (const auto& [name, value] : json.items()) {
    std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    if (text.empty()) continue;  // the root has neither name nor identifier
    std::cout << std::left << std::setw(10) << name + ":" << Shown(text) << "\n";
  }
  return ExitCode::kSuccess;
}

}  // namespace

void AddStatCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<StatOptions>();
  CLI::App* stat = app.add_subcommand("stat", "Show what is known of one bucket, folder or file");
  stat->add_option("PATH", options->path)->required();
  Choose(stat, selected, options, RunStat);
}

}  // namespace b2drive::cli
