#include <iostream>

#include "host/cli/entry_json.h"
#include "host/commands/commands.h"

namespace b2drive::cli {
namespace {

struct StatOptions {
  std::string path;
};

void Print(const Json& json, const std::string& before) {
  constexpr int kWidth = 14;
  for (const auto& [name, value] : json.items()) {
    if (value.is_object()) {
      Print(value, name + ".");
      continue;
    }
    const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    if (text.empty()) continue;  // the root has neither name nor identifier
    const std::string head = Shown(before + name) + ":";
    std::cout << std::left << std::setw(kWidth) << head << (head.size() < kWidth ? "" : " ")
              << Shown(text) << "\n";
  }
}

ExitCode RunStat(Context& context, const StatOptions& options) {
  const PathArgument argument(options.path);
  context.WantDetails();
  Json json = ToJson(context.index().Find(argument), argument.path);
  if (IsRoot(argument.path)) json["type"] = "root";
  if (context.json()) {
    PrintJson(json);
    return ExitCode::kSuccess;
  }
  Print(json, "");
  return ExitCode::kSuccess;
}

}  // namespace

void AddStatCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<StatOptions>();
  CLI::App* stat =
      app.add_subcommand("stat", "Show all that is known of one bucket, folder or file");
  stat->add_option("PATH", options->path)->required();
  Choose(stat, selected, options, RunStat);
}

}  // namespace b2drive::cli
