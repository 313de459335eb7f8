#include <unistd.h>

#include <chrono>
#include <iostream>
#include <thread>

#include "host/commands/commands.h"
#include "host/commands/completion_scripts.h"
#include "host/commands/expected_word.h"
#include "host/commands/recent_names.h"
#include "host/common/path.h"
#include "host/terminal/text_format.h"

namespace b2drive::cli {
namespace {

struct CompletionOptions {
  std::string shell;
};

ExitCode RunCompletion(Context&, const CompletionOptions& options) {
  const std::string script = CompletionScript(options.shell);
  if (script.empty()) {
    throw HostError(ExitCode::kUsage, options.shell + ": not bash, zsh or fish");
  }
  std::cout << script;
  return ExitCode::kSuccess;
}

struct CompleteOptions {
  const CLI::App* app = nullptr;
  std::string line;
  std::string breaks;
};

// Ends the program when the user has waited for long enough.
void LimitTime() {
  std::thread([] {
    constexpr auto kPatience = std::chrono::seconds(3);
    std::this_thread::sleep_for(kPatience);
    _exit(0);
  }).detach();
}

std::vector<std::string> NamesIn(Context& context, const std::string& folder) {
  return RecentNames(context.account().key_id, folder, [&] {
    std::vector<std::string> names;
    for (const Entry& entry : context.index().Children(folder)) {
      if (!entry.name.empty()) names.push_back(entry.name + (entry.folder ? "/" : ""));
    }
    return names;
  });
}

// Only an account that is stored: nobody is asked in the midst of typing.
std::vector<std::string> PathsFor(Context& context, const ExpectedWord& expected,
                                  const std::string& current) {
  auto account = expected.profile ? FindAccount(expected.profile) : context.StoredAccount();
  if (!account) return {};
  context.SetAccount(std::move(*account));
  const std::size_t slash = current.rfind('/');
  const std::string typed = slash != std::string::npos ? current.substr(0, slash + 1)
                            : current.empty()          ? "/"
                                                       : "";
  std::vector<std::string> paths;
  for (const std::string& name : NamesIn(context, PathArgument(typed.empty() ? "/" : typed).path)) {
    paths.push_back(typed + name);
  }
  return paths;
}

// A line of what the shell is to offer by itself, then the words to offer.
ExitCode RunComplete(Context& context, const CompleteOptions& options) {
  LimitTime();
  const TypedLine typed = ReadTypedLine(options.line, options.breaks);
  const ExpectedWord expected = Expected(*options.app, typed);
  std::vector<std::string> words = expected.profiles ? Profiles() : expected.words;
  try {
    if (expected.paths) words = PathsFor(context, expected, typed.current);
  } catch (const HostError&) {  // nothing is offered then
  }
  std::cout << "words" << (expected.files ? " files" : "") << (expected.folders ? " folders" : "")
            << "\n";
  for (const std::string& word : words) {
    const bool is_option = word.starts_with('-') && !typed.current.starts_with('-');
    if (is_option || !word.starts_with(typed.current) || EscapeControls(word) != word) continue;
    std::cout << word.substr(std::min(typed.behind_break, word.size())) << "\n";
  }
  return ExitCode::kSuccess;
}

}  // namespace

void AddCompletionCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<CompletionOptions>();
  CLI::App* completion = app.add_subcommand(
      "completion", "Print the script that completes b2drive's words in a shell");
  completion->add_option("SHELL", options->shell, "bash, zsh or fish")->required();
  completion->footer(
      "Installed where the shells look; else, in the shell's start file:\n"
      "  bash:  source <(b2drive completion bash)\n"
      "  zsh:   source <(b2drive completion zsh)     # after compinit\n"
      "  fish:  b2drive completion fish | source\n"
      "Names of the service are kept for ten seconds. Those with control characters, and what\n"
      "does not arrive within three seconds, are not offered.");
  Choose(completion, selected, options, RunCompletion);

  auto typed = std::make_shared<CompleteOptions>();
  typed->app = &app;
  CLI::App* complete = app.add_subcommand("__complete", "What can follow in a line")->group("");
  complete->add_option("LINE", typed->line)->required();
  complete->add_option("BREAKS", typed->breaks);
  Choose(complete, selected, typed, RunComplete);
}

}  // namespace b2drive::cli
