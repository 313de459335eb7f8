#include "host/commands/commands.h"
#include "host/transfer/tree_deletion.h"

namespace b2drive::cli {
namespace {

struct HideOptions {
  std::vector<std::string> paths;
};

ExitCode RunHide(Context& context, const HideOptions& options) {
  context.HideOnDelete();
  context.changes().Expect();
  return ForEach("hide", options.paths.size(), [&](std::size_t at) {
    const PathArgument argument(options.paths[at]);
    const Entry file = context.index().FindFile(argument);
    DeleteStoredFile(context.drive(), context.index(), file, argument.path);
    context.changes().Tell({"hide", argument.path, "", file.size, file.id});
  });
}

}  // namespace

void AddHideCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<HideOptions>();
  CLI::App* hide =
      app.add_subcommand("hide", "Hide files: they look deleted, and all versions stay");
  hide->footer("unhide shows them again; versions shows what is hidden. rm --hide hides folders.");
  hide->add_option("PATH", options->paths)->required();
  Choose(hide, selected, options, RunHide);
}

}  // namespace b2drive::cli
