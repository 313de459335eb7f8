#include "host/commands/commands.h"
#include "host/commands/print_file.h"

namespace b2drive::cli {
namespace {

struct CatOptions {
  std::vector<std::string> paths;
};

ExitCode RunCat(Context& context, const CatOptions& options) {
  bool read_on = true;
  const ExitCode result = ForEach("cat", options.paths.size(), [&](std::size_t i) {
    if (!read_on) return;
    const PathArgument argument(options.paths[i]);
    const Entry file = context.index().FindFile(argument);
    read_on = PrintFile(context, file, argument.path, 0, file.size);
  });
  return read_on ? result : ExitCode::kBrokenPipe;
}

}  // namespace

void AddCatCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<CatOptions>();
  CLI::App* cat = app.add_subcommand("cat", "Write files to standard output, one after the other");
  cat->add_option("PATH", options->paths)->required();
  Choose(cat, selected, options, RunCat);
}

}  // namespace b2drive::cli
