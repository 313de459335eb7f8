#include <unistd.h>

#include <cerrno>

#include "host/commands/commands.h"
#include "host/local/stream_writer.h"

namespace b2drive::cli {
namespace {

struct CatOptions {
  std::string path;
};

ExitCode RunCat(Context& context, const CatOptions& options) {
  const PathArgument argument(options.path);
  const std::string& path = argument.path;
  Entry file = context.index().FindFile(argument);
  if (file.size == 0) return ExitCode::kSuccess;
  StreamWriter writer(STDOUT_FILENO);
  try {
    context.drive().Read({file, path, 0, file.size},
                         [&](std::uint64_t offset, const char* data, std::size_t count) {
                           return writer.Write(offset, data, count);
                         });
  } catch (const FsError& error) {
    if (error.number() == EPIPE) return ExitCode::kBrokenPipe;
    throw;
  }
  const int error = writer.Finish();
  if (error == EPIPE) return ExitCode::kBrokenPipe;
  if (error != 0) throw LocalFailure("writing " + path, error);
  return ExitCode::kSuccess;
}

}  // namespace

void AddCatCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<CatOptions>();
  CLI::App* cat = app.add_subcommand("cat", "Write a file to standard output");
  cat->add_option("PATH", options->path)->required();
  Choose(cat, selected, options, RunCat);
}

}  // namespace b2drive::cli
