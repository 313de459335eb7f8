#include <algorithm>
#include <iostream>
#include <map>

#include "host/cli/entry_json.h"
#include "host/cli/filter_options.h"
#include "host/commands/commands.h"
#include "host/terminal/text_format.h"
#include "host/transfer/remote_tree.h"

namespace b2drive::cli {
namespace {

struct DuOptions {
  bool human = false;
  bool sum = false;
  std::size_t depth = SIZE_MAX;
  Filter filter;
  std::vector<std::string> paths = {"/"};
};

struct Usage {
  std::uint64_t bytes = 0;
  std::uint64_t files = 0;
};

using Names = std::vector<std::string>;

// A folder comes after what is in it.
struct FoldersLast {
  bool operator()(const Names& a, const Names& b) const {
    const auto [left, right] = std::ranges::mismatch(a, b);
    if (left == a.end() || right == b.end()) return a.size() > b.size();
    return *left < *right;
  }
};

// Of the folders down to a depth, by their names from the tree's root on.
using Usages = std::map<Names, Usage, FoldersLast>;

void Add(Usages& usages, const RemoteItem& item, std::size_t depth) {
  Names names = NamesOf("/" + item.path);
  if (item.entry.folder) {
    if (names.size() <= depth) usages[names];
    return;
  }
  while (!names.empty()) {
    names.pop_back();
    if (names.size() > depth) continue;
    Usage& usage = usages[names];
    usage.bytes += item.entry.size;
    ++usage.files;
  }
}

class DuPrinter {
 public:
  DuPrinter(bool json, bool human) : json_(json), human_(human) {}

  void Print(const std::string& path, const Usage& usage) const {
    if (json_) {
      return PrintJsonLine({{"path", path}, {"size", usage.bytes}, {"files", usage.files}});
    }
    std::cout << (human_ ? FormatBytes(static_cast<double>(usage.bytes))
                         : std::to_string(usage.bytes))
              << "\t" << Shown(path) << "\n";
  }

 private:
  const bool json_;
  const bool human_;
};

ExitCode RunDu(Context& context, const DuOptions& options) {
  const DuPrinter printer(context.json(), options.human);
  return ForEach("du", options.paths.size(), [&](std::size_t at) {
    const PathArgument argument(options.paths[at]);
    const Entry entry = context.index().Find(argument);
    if (!entry.folder) return printer.Print(argument.path, {entry.size, 1});
    Usages usages;
    usages[{}];
    const std::size_t depth = options.sum ? 0 : options.depth;
    WalkRemoteTree(context.drive(), entry, argument.path, options.filter,
                   [&](const RemoteItem& item) { Add(usages, item, depth); });
    for (const auto& [names, usage] : usages) {
      std::string path = argument.path;
      for (const std::string& name : names) path = Join(path, name);
      printer.Print(path, usage);
    }
  });
}

}  // namespace

void AddDuCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<DuOptions>();
  CLI::App* du = app.add_subcommand("du", "Sum up the sizes of files, folder by folder");
  du->footer("The latest versions count, in bytes; older ones and hidden files do not.");
  du->set_help_flag("--help", "Print this help message and exit");
  du->add_flag("-h", options->human, "Sizes as 1.2 MB");
  du->add_option("-d,--max-depth", options->depth, "Folders down to this depth only; 0: the sum")
      ->check(CLI::Range(0, 1 << 20))
      ->type_name("N");
  du->add_flag("-s,--summarize", options->sum, "The sum only, as -d 0");
  AddFilterOptions(du, options->filter);
  du->add_option("PATH", options->paths, "What to sum up; / without it");
  Choose(du, selected, options, RunDu);
}

}  // namespace b2drive::cli
