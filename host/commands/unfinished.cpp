#include <algorithm>
#include <iostream>

#include "host/cli/entry_json.h"
#include "host/cli/time_argument.h"
#include "host/commands/commands.h"

namespace b2drive::cli {
namespace {

struct UnfinishedOptions {
  std::string path = "/";
  bool cancel = false;
  std::string older;
};

struct Row {
  std::string path;
  Entry file;
};

// Of a folder, a bucket or all of them; of a file its own.
std::vector<Row> Find(Context& context, PatientDrive& view, const PathArgument& argument) {
  PathIndex& index = context.index();
  std::vector<std::string> folders = {argument.path};
  if (IsRoot(argument.path)) {
    folders.clear();
    for (const Entry& bucket : index.Children("/")) folders.push_back(Join("/", bucket.name));
  }
  std::vector<Row> rows;
  const auto add = [&](const std::string& folder, const std::string& name) {
    for (Entry& file : view.ListNamed(index.FolderId(folder), name, folder)) {
      std::string path = Join(folder, file.name);
      if (name.empty() || file.name == name) rows.push_back({std::move(path), std::move(file)});
    }
  };
  for (const std::string& folder : folders) {
    const bool may_be_file = !argument.asks_for_folder && !IsBucket(folder);
    if (may_be_file) add(ParentOf(folder), NameOf(folder));
    add(folder, "");
  }
  return rows;
}

bool IsOlder(const Entry& file, const UnfinishedOptions& options) {
  if (options.older.empty()) return true;
  timespec limit = Now();
  limit.tv_sec -= ParseDuration("--older", options.older).count();
  return IsLater(limit, file.uploaded);
}

void Print(const Row& row, std::size_t width, bool json) {
  if (json) return PrintJsonLine(ToJson(row.file, row.path));
  std::cout << std::right << std::setw(static_cast<int>(width)) << row.file.size << "  "
            << TimeText(row.file.uploaded) << "  " << Shown(row.path) << "\n";
}

ExitCode RunUnfinished(Context& context, const UnfinishedOptions& options) {
  const ViewedDrive view = context.Open(View::kUnfinished);
  std::vector<Row> rows = Find(context, *view.drive, PathArgument(options.path));
  std::erase_if(rows, [&](const Row& row) { return !IsOlder(row.file, options); });
  if (!options.cancel) {
    std::size_t width = 0;
    for (const Row& row : rows) width = std::max(width, std::to_string(row.file.size).size());
    for (const Row& row : rows) Print(row, width, context.json());
    return ExitCode::kSuccess;
  }
  context.changes().Expect();
  return ForEach("unfinished", rows.size(), [&](std::size_t at) {
    const auto& [path, file] = rows[at];
    view.drive->DeleteVersion(file, path);
    context.changes().Tell({"cancel", path, "", file.size, file.id});
  });
}

}  // namespace

void AddUnfinishedCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<UnfinishedOptions>();
  CLI::App* unfinished = app.add_subcommand(
      "unfinished", "Show, or cancel, uploads in parts that were begun and not finished");
  unfinished->footer(
      "They cost storage for the parts that arrived: shown are these bytes and when it was begun\n"
      "(UTC). The next put of the same file goes on with one. An upload that still runs, here or\n"
      "elsewhere, is unfinished, too: with --cancel say --older, or be sure that there is none.");
  unfinished->add_option("PATH", options->path, "A file, a folder or a bucket; all without it");
  unfinished->add_flag("--cancel", options->cancel, "Cancel them: what arrived of them is gone");
  unfinished
      ->add_option("--older", options->older, "Only those that were begun so long ago: 12h, 7d")
      ->type_name("DURATION");
  Choose(unfinished, selected, options, RunUnfinished);
}

}  // namespace b2drive::cli
