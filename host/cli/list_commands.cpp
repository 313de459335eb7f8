#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "host/cli/commands.h"
#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"

namespace b2drive::cli {
namespace {

using Json = nlohmann::ordered_json;

struct LsOptions {
  bool details = false;
  bool json = false;
  std::string path = "/";
};

struct StatOptions {
  bool json = false;
  std::string path;
};

// Names reach a pipe as they are, so that scripts get the true ones.
std::string Shown(const std::string& text) {
  return StdoutIsTerminal() ? EscapeControls(text) : text;
}

Json ToJson(const Entry& entry, const std::string& path) {
  Json json = {{"path", path},
               {"name", entry.name},
               {"type", !entry.folder    ? "file"
                        : IsBucket(path) ? "bucket"
                                         : "folder"}};
  if (!entry.folder) {
    json["size"] = entry.size;
    json["modified"] = TimeText(entry.modified);
  }
  json["id"] = entry.id;
  return json;
}

void PrintJson(const Json& json) {
  // Names need not be UTF-8 here, but must be in JSON.
  constexpr auto kReplace = Json::error_handler_t::replace;
  const std::string line = json.dump(-1, ' ', false, kReplace);
  const bool escape = Shown(line) != line;
  std::cout << json.dump(2, ' ', escape, kReplace) << "\n";
}

std::string SizeText(const Entry& entry) { return entry.folder ? "-" : std::to_string(entry.size); }

void PrintDetails(const Listing& entries) {
  std::size_t width = 0;
  for (const Entry& entry : entries) width = std::max(width, SizeText(entry).size());
  for (const Entry& entry : entries) {
    std::cout << std::right << std::setw(static_cast<int>(width)) << SizeText(entry) << "  "
              << std::left << std::setw(24) << (entry.folder ? "-" : TimeText(entry.modified))
              << "  " << Shown(entry.name) << (entry.folder ? "/" : "") << "\n";
  }
}

void PrintNames(const Listing& entries) {
  for (const Entry& entry : entries) {
    std::cout << Shown(entry.name) << (entry.folder ? "/" : "") << "\n";
  }
}

ExitCode RunLs(Context& context, const LsOptions& options) {
  const PathArgument argument(options.path);
  const std::string& path = argument.path;
  Entry entry = context.index().Find(argument);
  std::string folder = entry.folder ? path : ParentOf(path);
  const Listing entries = entry.folder ? context.index().Children(path) : Listing{entry};
  if (options.json) {
    Json all = Json::array();
    for (const Entry& each : entries) all.push_back(ToJson(each, Join(folder, each.name)));
    PrintJson(all);
  } else if (options.details) {
    PrintDetails(entries);
  } else {
    PrintNames(entries);
  }
  return ExitCode::kSuccess;
}

ExitCode RunStat(Context& context, const StatOptions& options) {
  const PathArgument argument(options.path);
  Json json = ToJson(context.index().Find(argument), argument.path);
  if (IsRoot(argument.path)) json["type"] = "root";
  if (options.json) {
    PrintJson(json);
    return ExitCode::kSuccess;
  }
  for (const auto& [name, value] : json.items()) {
    std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    std::cout << std::left << std::setw(10) << name + ":" << Shown(text) << "\n";
  }
  return ExitCode::kSuccess;
}

struct FormsOptions {};

ExitCode RunForms(Context& context, const FormsOptions&) {
  PluginLibrary& library = context.library();
  PrintJson({{"protocol", library.protocol_name()},
             {"version", library.version()},
             {"account", Json::parse(library.AccountForm())},
             {"options", Json::parse(library.OptionForm())}});
  return ExitCode::kSuccess;
}

}  // namespace

void AddListCommands(CLI::App& app, Selected& selected) {
  auto ls_options = std::make_shared<LsOptions>();
  CLI::App* ls = app.add_subcommand("ls", "List a folder, or the buckets");
  ls->add_flag("-l", ls_options->details, "Show sizes in bytes and times (UTC)");
  ls->add_flag("--json", ls_options->json, "Print JSON");
  ls->add_option("PATH", ls_options->path, "What to list; / without it");
  Choose(ls, selected, ls_options, RunLs);

  auto stat_options = std::make_shared<StatOptions>();
  CLI::App* stat = app.add_subcommand("stat", "Show what is known of one bucket, folder or file");
  stat->add_flag("--json", stat_options->json, "Print JSON");
  stat->add_option("PATH", stat_options->path)->required();
  Choose(stat, selected, stat_options, RunStat);

  CLI::App* forms = app.add_subcommand("forms", "Print the plug-in's account and option forms");
  Choose(forms, selected, std::make_shared<FormsOptions>(), RunForms);
}

}  // namespace b2drive::cli
