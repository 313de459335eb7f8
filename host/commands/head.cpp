#include <algorithm>

#include "host/commands/commands.h"
#include "host/commands/print_file.h"

namespace b2drive::cli {
namespace {

ExitCode RunHead(Context& context, const EndOptions& options) {
  const PathArgument argument(options.path);
  const Entry file = context.index().FindFile(argument);
  const std::uint64_t count = std::min(options.bytes, file.size);
  const bool read =
      PrintFile(context, file, argument.path, 0, options.other_end ? file.size - count : count);
  return read ? ExitCode::kSuccess : ExitCode::kBrokenPipe;
}

}  // namespace

void AddHeadCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<EndOptions>();
  CLI::App* head = app.add_subcommand("head", "Write a file's first bytes to standard output");
  AddEndOptions(*head, options, '-', "How many; -N: all but the last N");
  Choose(head, selected, options, RunHead);
}

}  // namespace b2drive::cli
