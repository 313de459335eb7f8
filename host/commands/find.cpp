#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <compare>
#include <ctime>
#include <iostream>

#include "host/cli/arguments.h"
#include "host/cli/entry_json.h"
#include "host/cli/filter_options.h"
#include "host/cli/time_argument.h"
#include "host/commands/commands.h"
#include "host/common/byte_count.h"
#include "host/transfer/remote_tree.h"

namespace b2drive::cli {
namespace {

struct FindOptions {
  std::string name;
  std::string size;
  std::string newer;
  std::string type;
  Filter filter;
  std::vector<std::string> paths = {"/"};
};

// A size as "10K" for just so much, "+10K" for more and "-10K" for less.
struct SizeTest {
  explicit SizeTest(const std::string& text) {
    const bool bounded = text.starts_with('+') || text.starts_with('-');
    const auto bytes = ParseByteCount(std::string_view(text).substr(bounded ? 1 : 0));
    if (!bytes) {
      throw HostError(ExitCode::kUsage, "--size " + text + ": give a number of bytes, as +10M");
    }
    wanted = !bounded              ? std::strong_ordering::equal
             : text.front() == '+' ? std::strong_ordering::greater
                                   : std::strong_ordering::less;
    limit = *bytes;
  }

  std::strong_ordering wanted = std::strong_ordering::equal;
  std::uint64_t limit = 0;
};

// What an entry must be. Sizes and times are files' only.
class Test {
 public:
  explicit Test(const FindOptions& options) : name_(options.name), type_(options.type) {
    if (!options.size.empty()) size_.emplace(options.size);
    if (!options.newer.empty()) newer_ = ParseTimeOrFile("--newer", options.newer);
  }

  bool Passes(const Entry& entry) const {
    const bool file_wanted = type_ == "f" || size_ || newer_;
    if (entry.folder ? file_wanted : type_ == "d") return false;
    if (!name_.empty() && fnmatch(name_.c_str(), entry.name.c_str(), 0) != 0) return false;
    if (size_ && (entry.size <=> size_->limit) != size_->wanted) return false;
    return !newer_ || IsLater(entry.modified, *newer_);
  }

 private:
  const std::string name_;
  const std::string type_;
  std::optional<SizeTest> size_;
  std::optional<timespec> newer_;
};

void Print(const std::string& path, const Entry& entry, bool json) {
  if (json) return PrintJsonLine(ToJson(entry, path));
  std::cout << Shown(path) << (entry.folder ? "/" : "") << "\n";
}

ExitCode RunFind(Context& context, const FindOptions& options) {
  const Test test(options);
  return ForEach("find", options.paths.size(), [&](std::size_t at) {
    const PathArgument argument(options.paths[at]);
    const Entry start = context.index().Find(argument);
    if (!start.folder) {
      if (options.filter.Takes(start.name, false) && test.Passes(start))
        Print(argument.path, start, context.json());
      return;
    }
    for (const RemoteItem& item :
         ReadRemoteTree(context.drive(), start, argument.path, options.filter)) {
      if (!std::cout) return;
      if (test.Passes(item.entry)) {
        Print(Join(argument.path, item.path), item.entry, context.json());
      }
    }
  });
}

}  // namespace

void AddFindCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<FindOptions>();
  CLI::App* find = app.add_subcommand("find", "Print the paths of files and folders in a tree");
  find->footer("Of several tests all must hold. The folder PATH itself is not printed.");
  NotEmpty(find->add_option("--name", options->name, "Whose name, the last of the path, matches"))
      ->type_name("GLOB");
  NotEmpty(find->add_option("--size", options->size,
                            "Files of more (+) or less (-) or just so many bytes"))
      ->type_name("[+-]N[K|M|G]");
  NotEmpty(find->add_option("--newer", options->newer,
                            "Files stored after this local file changed, or after a time (UTC)"))
      ->type_name("FILE|TIME");
  find->add_option("--type", options->type, "Files (f) or folders (d) only")
      ->check(CLI::IsMember({"f", "d"}))
      ->type_name("f|d");
  AddFilterOptions(find, options->filter);
  find->add_option("PATH", options->paths, "Where to look; / without it");
  Choose(find, selected, options, RunFind);
}

}  // namespace b2drive::cli
