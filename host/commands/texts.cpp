#include <cerrno>
#include <filesystem>
#include <fstream>

#include "host/commands/commands.h"
#include "host/commands/completion_scripts.h"
#include "host/commands/manual.h"
#include "host/local/local_io.h"

namespace b2drive::cli {
namespace {

namespace fs = std::filesystem;

struct TextsOptions {
  const CLI::App* app = nullptr;
  fs::path folder;
  fs::path sections;
};

void WriteText(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary);
  out << text;
  out.close();
  if (!out) throw LocalFailure(file.string(), errno);
}

void WritePages(const CLI::App& command, const TextsOptions& options) {
  const std::string name = ManualName(command);
  const std::string more = ReadSmallFile(options.sections / (name + ".roff"));
  WriteText(options.folder / "man" / (name + ".1"), ManualPage(command, more));
  for (const CLI::App* below : command.get_subcommands({})) {
    if (!below->get_group().empty()) WritePages(*below, options);
  }
}

void RemovePages(const fs::path& folder) {
  std::error_code missing;
  for (const fs::directory_entry& page : fs::directory_iterator(folder, missing)) {
    if (page.path().filename().native().starts_with("b2drive")) fs::remove(page.path());
  }
}

ExitCode RunTexts(Context&, const TextsOptions& options) {
  const std::pair<const char*, const char*> scripts[] = {
      {"bash", "b2drive"}, {"zsh", "_b2drive"}, {"fish", "b2drive.fish"}};
  RemovePages(options.folder / "man");  // of commands that are gone, too
  WritePages(*options.app, options);
  for (const auto& [shell, file] : scripts) {
    WriteText(options.folder / shell / file, CompletionScript(shell));
  }
  return ExitCode::kSuccess;
}

}  // namespace

void AddTextsCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<TextsOptions>();
  options->app = &app;
  CLI::App* texts = app.add_subcommand("__texts", "Write what is installed beside the program");
  texts->group("");
  texts->add_option("FOLDER", options->folder, "Where to write pages and scripts")->required();
  texts->add_option("SECTIONS", options->sections, "Where pages' further sections are, NAME.roff");
  Choose(texts, selected, options, RunTexts);
}

}  // namespace b2drive::cli
