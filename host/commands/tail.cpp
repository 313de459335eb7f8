#include <algorithm>

#include "host/commands/commands.h"
#include "host/commands/print_file.h"

namespace b2drive::cli {
namespace {

ExitCode RunTail(Context& context, const EndOptions& options) {
  const PathArgument argument(options.path);
  const Entry file = context.index().FindFile(argument);
  const std::uint64_t count = std::min(options.bytes, file.size);
  const std::uint64_t before = options.bytes > 0 ? options.bytes - 1 : 0;
  const bool read = PrintFile(context, file, argument.path,
                              options.other_end ? before : file.size - count, file.size);
  return read ? ExitCode::kSuccess : ExitCode::kBrokenPipe;
}

}  // namespace

void AddTailCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<EndOptions>();
  CLI::App* tail = app.add_subcommand("tail", "Write a file's last bytes to standard output");
  AddEndOptions(*tail, options, '+', "How many; +N: from byte N on, the first being 1");
  Choose(tail, selected, options, RunTail);
}

}  // namespace b2drive::cli
