#include <algorithm>
#include <iostream>

#include "host/cli/entry_json.h"
#include "host/commands/commands.h"

namespace b2drive::cli {
namespace {

struct LsOptions {
  bool details = false;
  std::string path = "/";
};

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
  if (context.json()) {
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

}  // namespace

void AddLsCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<LsOptions>();
  CLI::App* ls = app.add_subcommand("ls", "List a folder, or the buckets");
  ls->add_flag("-l", options->details, "Show sizes in bytes and times (UTC)");
  ls->add_option("PATH", options->path, "What to list; / without it");
  Choose(ls, selected, options, RunLs);
}

}  // namespace b2drive::cli
