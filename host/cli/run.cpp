#include "host/cli/run.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <exception>
#include <iostream>
#include <sstream>
#include <thread>
#include <vector>

#include "host/cli/arguments.h"
#include "host/cli/command.h"
#include "host/cli/context.h"
#include "host/cli/help_formatter.h"
#include "host/cli/usage_error.h"
#include "host/common/errors.h"
#include "host/common/process_limits.h"
#include "host/terminal/interrupt.h"
#include "host/terminal/output_style.h"
#include "host/terminal/report.h"
#include "host/terminal/terminal.h"

namespace b2drive::cli {
namespace {

constexpr char kDescription[] =
    "Lists, reads and writes the buckets of a cloud storage account.\n"
    "A PATH is /bucket/folder/name; a trailing slash asks for the folder where a file has the same "
    "name.";

std::string Footer() {
  std::ostringstream text;
  text << "Account: B2_APPLICATION_KEY_ID and B2_APPLICATION_KEY (B2_ACCOUNT_ID for the account, "
          "when it cannot be read from the key ID); else the file b2drive/account in "
          "$XDG_CONFIG_HOME or ~/.config, mode 0600, with the lines\n"
          "  application_key_id = ...\n  application_key = ...\n"
          "(b2drive login writes it, or b2drive/profiles/NAME with --profile NAME, which comes "
          "first);\nelse b2drive asks on the terminal.\n\nExit codes:\n";
  for (const ExitCodeText& row : ExitCodes()) {
    text << "  " << std::left << std::setw(5) << static_cast<int>(row.code) << row.meaning << "\n";
  }
  return text.str();
}

void AddOutputOptions(CLI::App& app, GlobalOptions& options) {
  CLI::Option* verbose = app.add_flag("-v,--verbose", options.verbosity,
                                      "Tell each change and each wait; twice: the plug-in's log "
                                      "lines, too");
  app.add_flag("-q,--quiet", options.quiet, "Print no notes, progress and summary; errors stay")
      ->excludes(verbose);
  app.add_flag("--json", options.json, "Print JSON, errors included");
  app.add_option("--progress", options.progress,
                 "auto shows it on a terminal; json prints records on standard error")
      ->capture_default_str()
      ->check(CLI::IsMember({"auto", "none", "json"}))
      ->type_name("auto|none|json");
}

void AddGlobalOptions(CLI::App& app, GlobalOptions& options) {
  AddOutputOptions(app, options);
  app.add_option("--plugin", options.plugin, "Another plug-in library")->type_name("FILE");
  app.add_option("--proxy", options.proxy,
                 "http://host:port; http+forward://, socks4:// and socks5:// work as well. One "
                 "with user:password@ goes into B2DRIVE_PROXY, where others cannot see it")
      ->type_name("URL");
  app.add_option_function<std::string>(
         "--limit",
         [&options](const std::string& text) {
           const auto rate = ParseRate(text);
           if (!rate) throw CLI::ValidationError("--limit", text + ": no rate such as 512K or 10M");
           options.limit = *rate;
         },
         "Most bytes a second to move, by all transfers together: 512K, 10M, 1G; a bare number is "
         "in K; 0 for no limit")
      ->type_name("RATE");
  NotEmpty(app.add_option("--ca-file", options.ca_file,
                          "A PEM file with certificates to trust besides those that come with "
                          "b2drive; else SSL_CERT_FILE's"))
      ->type_name("FILE");
  app.add_option("--retries", options.retries,
                 "How often a call that failed for a passing reason is made again; the waits "
                 "double from half a second to half a minute")
      ->capture_default_str()
      ->check(CLI::Range(0, 1000))
      ->type_name("N");
  app.add_option("--profile", options.profile,
                 "The account that b2drive login stored under this name; else B2DRIVE_PROFILE's")
      ->type_name("NAME");
  app.add_option("--log-bodies", options.log_bodies,
                 "Log the service's answers, compressed, to a file of mode 0600; they hold session "
                 "tokens that are valid up to 24 hours. Read it with decode-log")
      ->type_name("FILE");
}

OutputStyle StyleOf(const GlobalOptions& options) {
  OutputStyle style{options.json, options.verbosity > 0, options.quiet, ProgressStyle::kNone};
  if (options.progress == "json") style.progress = ProgressStyle::kJson;
  if (options.progress == "auto" && StderrIsTerminal()) style.progress = ProgressStyle::kBar;
  if (options.quiet) style.progress = ProgressStyle::kNone;
  return style;
}

ExitCode EndOutput(const std::string& command) {
  const int error = FlushOutput();
  if (error == 0) return ExitCode::kSuccess;
  if (error == EPIPE) return ExitCode::kBrokenPipe;
  Report(command, LocalFailure("standard output", error).About("-"));
  return ExitCode::kLocalFile;
}

ExitCode RunAndReport(const Selected& selected, Context& context) {
  try {
    return selected.command(context);
  } catch (const HostError& error) {
    Report(selected.name, error);
    return error.exit_code();
  } catch (const std::exception& error) {
    Report(selected.name, error.what());
    return ExitCode::kFailed;
  }
}

// Runs on its own thread, so that none that used the plug-in is left when it is unloaded.
ExitCode RunCommand(const Selected& selected, Context& context) {
  const ExitCode exit_code = RunAndReport(selected, context);
  context.changes().Summarize(exit_code, context.transfers().BytesDone());
  context.EndSession();
  const ExitCode output = EndOutput(selected.name);
  return exit_code == ExitCode::kSuccess ? output : exit_code;
}

int RunSelected(const Selected& selected, const GlobalOptions& options) {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);  // a limit is a failed write
  RaiseOpenFileLimit();
  SetOutputStyle(StyleOf(options));
  Transfers transfers(options.limit);
  Interrupt interrupt([&] { return transfers.Cancel(); });
  Context context(options, transfers);
  ExitCode exit_code = ExitCode::kFailed;
  std::thread([&] { exit_code = RunCommand(selected, context); }).join();
  return static_cast<int>(exit_code);
}

void PrintShortUsage(const CLI::App& app) {
  std::cerr << UsageLine(app, app.get_name()) << "\n\n"
            << "b2drive --help shows the commands, b2drive help COMMAND one of them.\n";
}

// Whether JSON is wanted is read from the arguments, which cannot be parsed.
ExitCode ReportUsage(const CLI::App& app, const CLI::ParseError& error,
                     const std::vector<std::string>& arguments) {
  OutputStyle style;
  style.json = std::ranges::count(arguments, "--json") > 0;
  SetOutputStyle(style);
  const bool no_command = app.get_subcommands().empty() && app.remaining().empty() &&
                          error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
  if (no_command && !style.json) {
    PrintShortUsage(app);
  } else {
    Report("", HostError(ExitCode::kUsage, UsageErrorText(app, error)));
  }
  return ExitCode::kUsage;
}

}  // namespace

std::string VersionText() { return "b2drive " B2DRIVE_VERSION; }

int Run(int argc, char** argv, const AddCommandsTo& add_commands) {
  OccupyStandardDescriptors();
  CLI::App app(kDescription, "b2drive");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_version_flag("--version", VersionText());
  app.require_subcommand(1);
  app.fallthrough();
  GlobalOptions options;
  AddGlobalOptions(app, options);
  Selected selected;
  add_commands(app, selected);
  app.footer(Footer());  // commands made later would take it over
  try {
    ParseArguments(app, argc, argv);
  } catch (const CLI::Success& help) {
    app.exit(help);
    return static_cast<int>(EndOutput(""));
  } catch (const CLI::ParseError& error) {
    return static_cast<int>(ReportUsage(app, error, {argv + std::min(argc, 1), argv + argc}));
  }
  return RunSelected(selected, options);
}

}  // namespace b2drive::cli
