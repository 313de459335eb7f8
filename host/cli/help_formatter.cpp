#include "host/cli/help_formatter.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace b2drive::cli {
namespace {

constexpr std::size_t kColumns = 79;
constexpr std::size_t kTextColumn = 26;

// `text` in lines of at most kColumns, all but the first indented; the first begins at `column`.
std::string Fill(const std::string& text, std::size_t indent, std::size_t column) {
  std::istringstream words(text);
  std::string out;
  bool begun = false;
  for (std::string word; words >> word; begun = true) {
    if (begun && column + 1 + word.size() > kColumns) {
      out += "\n" + std::string(indent, ' ');
      column = indent;
    } else if (begun) {
      out += ' ';
      ++column;
    }
    out += word;
    column += word.size();
  }
  return out;
}

// A row of a table goes on below its text, which stands behind two spaces or more.
std::string FillRow(const std::string& line) {
  const std::size_t word = std::min(line.find_first_not_of(' '), line.size());
  const std::size_t gap = line.find("  ", word);
  const std::size_t text = gap != std::string::npos ? line.find_first_not_of(' ', gap) : word;
  return line.substr(0, text) + Fill(line.substr(text), text, text) + "\n";
}

std::string FillParagraphs(const std::string& text) {
  std::istringstream lines(text);
  std::string out, paragraph;
  const auto end_paragraph = [&] {
    if (!paragraph.empty()) out += Fill(paragraph, 0, 0) + "\n";
    paragraph.clear();
  };
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.front() != ' ') {
      paragraph += line + " ";
      continue;
    }
    end_paragraph();
    out += line.size() > kColumns ? FillRow(line) : line + "\n";
  }
  end_paragraph();
  return out;
}

// Two columns: what to type, and what it does.
std::string Row(const std::string& typed, const std::string& text) {
  std::string row = "  " + typed;
  if (text.empty()) return row + "\n";
  if (row.size() + 2 > kTextColumn) {
    row += "\n" + std::string(kTextColumn, ' ');
  } else {
    row.resize(kTextColumn, ' ');
  }
  return row + Fill(text, kTextColumn, kTextColumn) + "\n";
}

// CLI11 adds what a validator says behind a colon.
std::string TypeName(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  return type.substr(0, type.find(':'));
}

std::string OptionRow(const CLI::Option& option) {
  std::string typed = option.get_name(false, true);
  typed.erase(std::min(typed.find('{'), typed.size()));  // what a flag stands for
  for (auto at = typed.find(','); at != std::string::npos; at = typed.find(',', at + 2)) {
    typed.replace(at, 1, ", ");
  }
  if (option.get_expected_max() > 0) typed += " " + TypeName(option);
  std::string text = option.get_description();
  if (!option.get_default_str().empty()) text += " (" + option.get_default_str() + ")";
  return Row(typed, text);
}

std::string PositionalUsage(const CLI::Option& option) {
  std::string name = option.get_name(true, false);
  const bool many = option.get_expected_max() > 1 && name.find("...") == std::string::npos;
  if (many) name += "...";
  return option.get_required() ? name : "[" + name + "]";
}

std::vector<const CLI::Option*> Positionals(const CLI::App& app) {
  return app.get_options([](const CLI::Option* option) {
    return option->get_positional() && !option->get_group().empty();
  });
}

std::string PositionalRows(const CLI::App& app) {
  std::string rows;
  for (const CLI::Option* option : Positionals(app)) {
    if (option->get_description().empty()) continue;
    rows += Row(option->get_name(true, false), option->get_description());
  }
  return rows.empty() ? "" : "\n" + rows;
}

std::string OptionGroups(const CLI::App& app) {
  std::string text;
  for (const std::string& group : app.get_groups()) {
    if (group.empty()) continue;
    std::string rows;
    for (const CLI::Option* option : app.get_options()) {
      if (option->nonpositional() && option->get_group() == group) rows += OptionRow(*option);
    }
    if (!rows.empty()) text += "\n" + group + ":\n" + rows;
  }
  return text;
}

std::string CommandRows(const CLI::App& app) {
  std::string rows;
  for (const CLI::App* command : app.get_subcommands({})) {
    if (!command->get_group().empty()) rows += Row(command->get_name(), command->get_description());
  }
  return rows.empty() ? "" : "\nCommands:\n" + rows;
}

constexpr char kOfTheProgram[] =
    "\nEvery command takes --json, --verbose, --quiet, --progress, --limit and more: b2drive "
    "--help "
    "tells of them, of the account and of the exit codes.";

}  // namespace

std::string UsageLine(const CLI::App& app, const std::string& name) {
  std::string line = "Usage: " + name + " [OPTIONS]";
  for (const CLI::Option* option : Positionals(app)) line += " " + PositionalUsage(*option);
  if (!app.get_subcommands({}).empty()) line += " COMMAND ...";
  return line;
}

std::string ProgramHelp(const CLI::App& app) {
  return HelpFormatter().make_help(&app, app.get_name(), CLI::AppFormatMode::Normal);
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string name,
                                     CLI::AppFormatMode) const {
  std::string details = app->get_footer();
  if (app->get_parent() != nullptr)
    details += (details.empty() ? "" : "\n") + std::string(kOfTheProgram);
  return UsageLine(*app, name) + "\n\n" + FillParagraphs(app->get_description()) +
         PositionalRows(*app) + CommandRows(*app) + OptionGroups(*app) + "\n" +
         FillParagraphs(details.starts_with('\n') ? details.substr(1) : details);
}

}  // namespace b2drive::cli
