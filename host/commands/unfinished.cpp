#include <algorithm>
#include <iostream>
#include <optional>

#include "host/cli/arguments.h"
#include "host/cli/entry_json.h"
#include "host/cli/time_argument.h"
#include "host/commands/commands.h"
#include "host/commands/deletion.h"
#include "host/terminal/report.h"

namespace b2drive::cli {
namespace {

struct UnfinishedOptions {
  std::string path = "/";
  bool cancel = false;
  bool yes = false;
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

void Print(const Row& row, std::size_t width, bool json) {
  if (json) return PrintJsonLine(ToJson(row.file, row.path));
  std::cout << std::right << std::setw(static_cast<int>(width)) << row.file.size << "  "
            << TimeText(row.file.uploaded) << "  " << Shown(row.path) << "\n";
}

// Any may be an upload that runs, here or elsewhere: those of a named age or place are meant,
// others are asked for.
void Confirm(Context& context, const UnfinishedOptions& options, const std::vector<Row>& rows) {
  std::vector<Victim> victims;
  for (const Row& row : rows) victims.push_back({row.path, row.file});
  Amount amount{victims.size()};
  amount.unseen = !victims.empty() && IsRoot(PathArgument(options.path).path);
  ConfirmDeletion(victims, amount, options.yes || !options.older.empty(), context.index(),
                  Deed::kCancel);
}

// The service refuses alike what is no more and what it does not want to cancel.
void Cancel(Context& context, PatientDrive& view, const Row& row) {
  const auto& [path, file] = row;
  if (view.DeleteVersion(file, path)) {
    return context.changes().Tell({"cancel", path, "", file.size, file.id});
  }
  for (const Row& left : Find(context, view, PathArgument(path))) {
    if (left.file.id == file.id) {
      throw HostError(ExitCode::kFailed, path, "the service refuses to cancel it");
    }
  }
  Note("unfinished", path + ": was finished or canceled meanwhile");
}

ExitCode RunUnfinished(Context& context, const UnfinishedOptions& options) {
  std::optional<std::chrono::seconds> age;
  if (!options.older.empty()) age = ParseDuration("--older", options.older);
  const ViewedDrive view = context.Open(View::kUnfinished);
  std::vector<Row> rows = Find(context, *view.drive, PathArgument(options.path));
  timespec limit = Now();
  limit.tv_sec -= age.value_or(std::chrono::seconds(0)).count();
  std::erase_if(rows, [&](const Row& row) { return age && !IsLater(limit, row.file.uploaded); });
  if (!options.cancel) {
    std::size_t width = 0;
    for (const Row& row : rows) width = std::max(width, std::to_string(row.file.size).size());
    for (const Row& row : rows) Print(row, width, context.json());
    return ExitCode::kSuccess;
  }
  Confirm(context, options, rows);
  context.changes().Expect();
  return ForEach("unfinished", rows.size(),
                 [&](std::size_t at) { Cancel(context, *view.drive, rows[at]); });
}

}  // namespace

void AddUnfinishedCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<UnfinishedOptions>();
  CLI::App* unfinished = app.add_subcommand(
      "unfinished", "Show, or cancel, uploads in parts that were begun and not finished");
  unfinished->footer(
      "They cost storage for the parts that arrived: shown are these bytes and when it was begun\n"
      "(UTC). The next put of the same file goes on with one. An upload that still runs, here or\n"
      "elsewhere, is unfinished, too: --cancel asks before it takes several or has no PATH, "
      "unless\n"
      "--older says which are meant.");
  unfinished->add_option("PATH", options->path, "A file, a folder or a bucket; all without it");
  unfinished->add_flag("--cancel", options->cancel, "Cancel them: what arrived of them is gone");
  unfinished->add_flag("-y,--yes", options->yes, "With --cancel: do not ask");
  NotEmpty(unfinished->add_option("--older", options->older,
                                  "Only those that were begun so long ago: 12h, 7d"))
      ->type_name("DURATION");
  Choose(unfinished, selected, options, RunUnfinished);
}

}  // namespace b2drive::cli
