#include "host/commands/commands.h"
#include "host/commands/print_file.h"

namespace b2drive::cli {
namespace {

struct CatOptions {
  bool verify = true;
  std::vector<std::string> paths;
};

ExitCode RunCat(Context& context, const CatOptions& options) {
  bool read_on = true;
  context.WantDetails();
  const ExitCode result = ForEach("cat", options.paths.size(), [&](std::size_t i) {
    if (!read_on) return;
    const PathArgument argument(options.paths[i]);
    const Entry file = context.index().FindFile(argument);
    read_on = PrintFile(context.drive(), file, argument.path, {0, file.size, options.verify});
  });
  return read_on ? result : ExitCode::kBrokenPipe;
}

}  // namespace

void AddCatCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<CatOptions>();
  CLI::App* cat = app.add_subcommand("cat", "Write files to standard output, one after the other");
  cat->footer(
      "Each file is compared with the SHA-1 that the service has of it, if any: exit code 17 when\n"
      "what was printed is something else.");
  cat->add_flag("!--no-verify", options->verify, "Do not compare it");
  cat->add_option("PATH", options->paths)->required();
  Choose(cat, selected, options, RunCat);
}

}  // namespace b2drive::cli
