#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>

#include "conform/runner.h"

namespace {

namespace fs = std::filesystem;

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

struct Arguments {
  conform::RunOptions run;
  bool list = false;
  std::string one_case;
  long limit_s = 30;
};

void Declare(CLI::App& app, Arguments& arguments) {
  app.set_version_flag("--version", "b2conform " B2CONFORM_VERSION);
  app.footer("Prints TAP 13. Exit codes: 0 all cases passed, 1 some failed, 2 wrong usage.");
  app.add_option("--plugin", arguments.run.plugin, "The module's file")->check(CLI::ExistingFile);
  app.add_option("--emulator", arguments.run.emulator,
                 "The program b2emulator; else the one beside this program, or in PATH")
      ->check(CLI::ExistingFile);
  app.add_option("--only", arguments.run.only,
                 "Only cases whose name a shell pattern matches (repeatable)");
  app.add_flag("--slow", arguments.run.slow, "Also what waits for time-outs, up to a minute");
  app.add_option("--jobs", arguments.run.jobs, "Cases at a time")
      ->check(CLI::Range(1, 64))
      ->capture_default_str();
  app.add_option("--limit", arguments.limit_s, "Seconds after which a case is given up")
      ->check(CLI::Range(1, 86400))
      ->capture_default_str();
  app.add_flag("--list", arguments.list, "Print the cases' names and end");
  app.add_option("--case", arguments.one_case)->group("");  // in a process of its own
}

// Empty when there is none.
std::string FindEmulator() {
  const fs::path beside = fs::read_symlink("/proc/self/exe").parent_path() / "b2emulator";
  if (fs::exists(beside)) return beside;
  const char* const path = std::getenv("PATH");
  std::istringstream folders(path == nullptr ? "" : path);
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (fs::exists(fs::path(folder) / "b2emulator")) return fs::path(folder) / "b2emulator";
  }
  return "";
}

int Run(Arguments& arguments) {
  conform::RunOptions& run = arguments.run;
  if (arguments.list) {
    conform::ListCases(run.only);
    return 0;
  }
  if (run.plugin.empty()) throw CLI::RequiredError("--plugin");
  if (run.emulator.empty()) run.emulator = FindEmulator();
  if (run.emulator.empty()) throw CLI::RequiredError("no b2emulator in PATH: --emulator");
  run.plugin = fs::absolute(run.plugin).string();
  run.emulator = fs::absolute(run.emulator).string();
  run.limit = std::chrono::seconds(arguments.limit_s);
  if (!arguments.one_case.empty()) {
    conform::RunThisCase(arguments.one_case, run.plugin, run.emulator);
    return 0;
  }
  return conform::RunCases(run) ? 0 : kFailed;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Checks a module against what its hosts rely on.", "b2conform");
  Arguments arguments;
  Declare(app, arguments);
  try {
    app.parse(argc, argv);
    return Run(arguments);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::Error& error) {
    std::cerr << "b2conform: " << error.what() << "\n";
    return kWrongUsage;
  } catch (const std::invalid_argument& error) {
    std::cerr << "b2conform: " << error.what() << "\n";
    return kWrongUsage;
  } catch (const std::exception& error) {
    std::cerr << "b2conform: " << error.what() << "\n";
    return kFailed;
  }
}
