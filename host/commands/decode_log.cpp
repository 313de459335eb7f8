#include <cerrno>
#include <fstream>
#include <iostream>

#include "host/commands/commands.h"
#include "host/plugin/body_decoder.h"

namespace b2drive::cli {
namespace {

struct DecodeOptions {
  std::string file = "-";
};

ExitCode RunDecodeLog(Context&, const DecodeOptions& options) {
  std::ifstream file;
  bool standard_input = options.file == "-";
  if (!standard_input) {
    file.open(options.file, std::ios::binary);
    if (!file) throw LocalFailure(options.file, errno);
  }
  int damaged = DecodeBodyLog(standard_input ? std::cin : file, std::cout);
  if (damaged > 0) {
    throw HostError(ExitCode::kFailed, options.file + ": " + std::to_string(damaged) +
                                           " bodies are damaged and stay compressed");
  }
  return ExitCode::kSuccess;
}

}  // namespace

void AddDecodeLogCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<DecodeOptions>();
  CLI::App* decode = app.add_subcommand(
      "decode-log",
      "Print a log of --log-bodies with its bodies readable; they hold session tokens");
  decode->add_option("FILE", options->file, "The log; standard input without it");
  Choose(decode, selected, options, RunDecodeLog);
}

}  // namespace b2drive::cli
