#include <algorithm>
#include <iostream>
#include <map>

#include "host/cli/arguments.h"
#include "host/cli/entry_json.h"
#include "host/cli/filter_options.h"
#include "host/cli/time_argument.h"
#include "host/commands/commands.h"
#include "host/plugin/service_failure.h"
#include "host/terminal/text_format.h"
#include "host/transfer/remote_tree.h"
#include "host/transfer/versions.h"

namespace b2drive::cli {
namespace {

struct LsOptions {
  bool details = false;
  bool human = false;
  bool recursive = false;
  bool itself = false;
  bool by_time = false;
  bool by_size = false;
  bool reverse = false;
  std::string at;
  Filter filter;
  std::vector<std::string> paths = {"/"};

  // Whether JSON comes as one array, as for one folder, or as a record a line.
  bool one_listing() const { return paths.size() == 1 && !recursive; }
};

struct Row {
  std::string path;
  Entry entry;
};
using Rows = std::vector<Row>;

// Rows are in the order of their names before.
void Sort(Rows& rows, const LsOptions& options) {
  const auto newer = [](const Row& a, const Row& b) {
    const timespec &left = a.entry.modified, &right = b.entry.modified;
    return std::pair(left.tv_sec, left.tv_nsec) > std::pair(right.tv_sec, right.tv_nsec);
  };
  const auto larger = [](const Row& a, const Row& b) { return a.entry.size > b.entry.size; };
  if (options.by_size) std::ranges::stable_sort(rows, larger);
  if (options.by_time) std::ranges::stable_sort(rows, newer);
  if (options.reverse) std::ranges::reverse(rows);
}

class LsPrinter {
 public:
  LsPrinter(const LsOptions& options, bool json) : options_(options), json_(json) {}

  // `full` shows paths in place of names.
  void Print(const Rows& rows, bool full) const {
    if (json_) return PrintRecords(rows);
    std::size_t width = 0;
    for (const Row& row : rows) width = std::max(width, SizeText(row.entry).size());
    for (const auto& [path, entry] : rows) {
      if (options_.details) PrintDetails(entry, static_cast<int>(width));
      const bool slash = entry.folder && !IsRoot(path);
      std::cout << Shown(full ? path : entry.name) << (slash ? "/" : "") << "\n";
    }
  }

  // What comes before the listing of a folder, when there are several.
  void PrintHeading(const std::string& path) {
    if (!json_) std::cout << (begun_ ? "\n" : "") << Shown(path) << ":\n";
    begun_ = true;
  }
  void NoteRows(const Rows& rows) { begun_ = begun_ || !rows.empty(); }

 private:
  void PrintRecords(const Rows& rows) const {
    Json all = Json::array();
    for (const auto& [path, entry] : rows) all.push_back(ToJson(entry, path));
    if (options_.one_listing()) return PrintJson(all);
    for (const Json& record : all) PrintJsonLine(record);
  }

  std::string SizeText(const Entry& entry) const {
    if (entry.folder) return "-";
    return options_.human ? FormatBytes(static_cast<double>(entry.size))
                          : std::to_string(entry.size);
  }

  void PrintDetails(const Entry& entry, int width) const {
    std::cout << std::right << std::setw(width) << SizeText(entry) << "  " << std::left
              << std::setw(24) << (entry.folder ? "-" : TimeText(entry.modified)) << "  ";
  }

  const LsOptions& options_;
  const bool json_;
  bool begun_ = false;
};

// A tree that was read, by folder.
class Listings {
 public:
  Listings(PatientDrive& drive, const Entry& folder, const std::string& path,
           const LsOptions& options) {
    for (RemoteItem& item : ReadRemoteTree(drive, folder, path, options.filter)) {
      std::string at = Join(path, item.path);
      folders_[ParentOf(at)].push_back({at, std::move(item.entry)});
    }
    for (auto& [parent, rows] : folders_) Sort(rows, options);
  }

  // The folder at `path`, and those below it as they are shown there.
  void Print(LsPrinter& printer, const std::string& path) const {
    if (!std::cout) return;
    const auto found = folders_.find(path);
    const Rows rows = found != folders_.end() ? found->second : Rows();
    printer.PrintHeading(path);
    printer.Print(rows, false);
    for (const auto& [below, entry] : rows) {
      if (entry.folder && !entry.name.empty()) Print(printer, below);
    }
  }

 private:
  std::map<std::string, Rows> folders_;
};

// What there is, or was at a time.
class Source {
 public:
  Source(Context& context, const LsOptions& options) : index_(context.index()), options_(options) {
    if (options.at.empty()) return;
    time_ = ParseTime("--at", options.at);
    view_ = context.Open(View::kVersions);
  }

  // The files that stood there then come before a folder, which is not asked for.
  Entry Find(const PathArgument& argument) {
    if (!view_.drive || IsRoot(argument.path)) return index_.Find(argument);
    if (!argument.asks_for_folder) {
      const auto version = VersionAt(VersionsOf(*view_.drive, index_, argument.path), time_);
      if (version) return *version;
    }
    if (IsBucket(argument.path)) return index_.Find(argument);
    const Entry folder{NameOf(argument.path), index_.FolderId(argument.path), true, 0, {}};
    if (StoodAt(*view_.drive, folder.id, argument.path, time_)) return folder;
    throw NotFound(argument.path);
  }

  Rows Folder(const std::string& path) {
    Rows rows;
    const bool now = !view_.drive || IsRoot(path);
    for (const Entry& entry :
         now ? index_.Children(path) : FolderAt(*view_.drive, index_.FolderId(path), path, time_)) {
      if (options_.filter.Takes(entry.name, entry.folder))
        rows.push_back({Join(path, entry.name), entry});
    }
    std::ranges::stable_sort(rows, {}, &Row::path);
    Sort(rows, options_);
    return rows;
  }

 private:
  PathIndex& index_;
  const LsOptions& options_;
  timespec time_{};
  ViewedDrive view_;
};

void ListFolder(Context& context, Source& source, const LsOptions& options, const Row& folder,
                LsPrinter& printer) {
  if (options.recursive) {
    Listings(context.drive(), folder.entry, folder.path, options).Print(printer, folder.path);
    return;
  }
  const Rows rows = source.Folder(folder.path);
  if (options.paths.size() > 1) printer.PrintHeading(folder.path);
  printer.Print(rows, false);
}

// Files first, as one listing; then each folder.
ExitCode RunLs(Context& context, const LsOptions& options) {
  const std::size_t count = options.paths.size();
  LsPrinter printer(options, context.json());
  Source source(context, options);
  Rows singles;
  std::vector<std::optional<Row>> folders(count);
  const ExitCode found = ForEach("ls", count, [&](std::size_t at) {
    const PathArgument argument(options.paths[at]);
    Row row{argument.path, source.Find(argument)};
    if (row.entry.folder && !options.itself) {
      folders[at] = std::move(row);
    } else {
      singles.push_back(std::move(row));
    }
  });
  Sort(singles, options);
  if (!singles.empty()) printer.Print(singles, count > 1 || options.itself);
  printer.NoteRows(singles);
  const ExitCode listed = ForEach("ls", count, [&](std::size_t at) {
    if (folders[at] && std::cout) ListFolder(context, source, options, *folders[at], printer);
  });
  return found == ExitCode::kSuccess ? listed : found;
}

}  // namespace

void AddLsCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<LsOptions>();
  CLI::App* ls = app.add_subcommand("ls", "List folders, or the buckets");
  ls->set_help_flag("--help", "Print this help message and exit");
  ls->add_flag("-l", options->details, "Show sizes in bytes and times (UTC)");
  ls->add_flag("-h", options->human, "With -l: sizes as 1.2 MB");
  ls->add_flag("-R", options->recursive, "List the folders below, too");
  ls->add_flag("-d", options->itself, "Show a folder itself, not what is in it");
  ls->add_flag("-t", options->by_time, "The newest first");
  ls->add_flag("-S", options->by_size, "The largest first");
  ls->add_flag("-r", options->reverse, "The other way round");
  NotEmpty(
      ls->add_option("--at", options->at, "How folders stood at this time (UTC), as versions tell"))
      ->type_name("TIME")
      ->excludes("-R");
  AddFilterOptions(ls, options->filter);
  ls->add_option("PATH", options->paths, "What to list; / without it");
  Choose(ls, selected, options, RunLs);
}

}  // namespace b2drive::cli
