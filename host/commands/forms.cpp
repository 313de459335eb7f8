#include "host/cli/entry_json.h"
#include "host/commands/commands.h"

namespace b2drive::cli {
namespace {

struct FormsOptions {};

ExitCode RunForms(Context& context, const FormsOptions&) {
  PluginLibrary& library = context.library();
  PrintJson({{"protocol", library.protocol_name()},
             {"version", library.version()},
             {"account", Json::parse(library.AccountForm())},
             {"options", Json::parse(library.OptionForm())}});
  return ExitCode::kSuccess;
}

}  // namespace

void AddFormsCommand(CLI::App& app, Selected& selected) {
  CLI::App* forms = app.add_subcommand("forms", "Print the plug-in's account and option forms");
  Choose(forms, selected, std::make_shared<FormsOptions>(), RunForms);
}

}  // namespace b2drive::cli
