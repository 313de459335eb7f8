#include "host/commands/manual.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace b2drive::cli {
namespace {

// As roff takes a text: nothing in it is a request or an escape.
std::string Quoted(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (out.empty() && (c == '.' || c == '\'')) out += "\\&";
    out += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
  }
  return out;
}

// Lines that begin with a blank stay lines; others are filled, and empty ones part paragraphs.
std::string Paragraphs(const std::string& text) {
  std::ostringstream out;
  std::istringstream lines(text);
  bool as_is = false;
  bool parted = false;
  for (std::string line; std::getline(lines, line);) {
    const bool blank = line.find_first_not_of(' ') == std::string::npos;
    const bool indented = !blank && line.front() == ' ';
    if (as_is && !indented) out << ".fi\n";
    if (parted && !blank && out.tellp() > 0) out << ".PP\n";
    if (!as_is && indented) out << ".nf\n";
    if (!blank) out << Quoted(line) << "\n";
    as_is = indented;
    parted = blank;
  }
  if (as_is) out << ".fi\n";
  return std::move(out).str();
}

bool IsShown(const CLI::Option* option) { return !option->get_group().empty(); }

// What the help calls an option's value; empty for none.
std::string ValueName(const CLI::Option* option) {
  if (option->get_items_expected_min() == 0) return "";
  const std::string name = option->get_type_name();
  return name.substr(0, name.find(':'));
}

std::string OptionNames(const CLI::Option* option) {
  std::string names;
  const auto add = [&](const char* dashes, const std::string& name) {
    names += (names.empty() ? "\\fB" : ", \\fB") + Quoted(dashes + name) + "\\fR";
  };
  for (const std::string& name : option->get_snames()) add("-", name);
  for (const std::string& name : option->get_lnames()) add("--", name);
  const std::string value = ValueName(option);
  return value.empty() ? names : names + " \\fI" + Quoted(value) + "\\fR";
}

std::string OptionList(const CLI::App& command, bool positional) {
  std::string list;
  for (const CLI::Option* option : command.get_options()) {
    if (!IsShown(option) || option->get_positional() != positional) continue;
    if (positional && option->get_description().empty()) continue;
    const std::string names =
        positional ? "\\fI" + Quoted(option->get_name(true)) + "\\fR" : OptionNames(option);
    list += ".TP\n" + names + "\n" + Quoted(option->get_description());
    if (const std::string preset = option->get_default_str(); !preset.empty()) {
      list += Quoted(" (" + preset + ")");
    }
    list += "\n";
  }
  return list;
}

std::string Path(const CLI::App& command, char between) {
  const CLI::App* parent = command.get_parent();
  return parent == nullptr ? command.get_name()
                           : Path(*parent, between) + between + command.get_name();
}

std::string Synopsis(const CLI::App& command) {
  std::string text = ".B " + Quoted(Path(command, ' ')) + "\n[\\fIOPTIONS\\fR]";
  if (!command.get_subcommands({}).empty()) text += " \\fICOMMAND\\fR";
  for (const CLI::Option* option : command.get_options()) {
    if (!option->get_positional() || !IsShown(option)) continue;
    const std::string name = "\\fI" + Quoted(option->get_name(true)) + "\\fR" +
                             (option->get_items_expected_max() > 1 ? " ..." : "");
    text += option->get_required() ? " " + name : " [" + name + "]";
  }
  return text + "\n";
}

std::string CommandList(const CLI::App& command) {
  std::string list;
  for (const CLI::App* one : command.get_subcommands({})) {
    if (one->get_group().empty()) continue;
    list += ".TP\n\\fB" + Quoted(ManualName(*one)) + "\\fR(1)\n" + Quoted(one->get_description()) +
            "\n";
  }
  return list;
}

std::string Section(const char* title, const std::string& text) {
  return text.empty() ? "" : std::string(".SH ") + title + "\n" + text;
}

// The first line of the description, as index pages show it.
std::string Summary(const CLI::App& command) {
  std::string text = command.get_description();
  text = text.substr(0, text.find('\n'));
  if (text.ends_with('.')) text.pop_back();
  if (!text.empty()) text.front() = static_cast<char>(std::tolower(text.front()));
  return text;
}

}  // namespace

std::string ManualName(const CLI::App& command) { return Path(command, '-'); }

std::string ManualPage(const CLI::App& command, const std::string& more) {
  const std::string name = ManualName(command);
  std::string title = name;
  std::ranges::transform(title, title.begin(), [](unsigned char c) { return std::toupper(c); });
  const bool is_program = command.get_parent() == nullptr;
  std::string page =
      ".TH " + Quoted(title) + " 1 \"\" \"b2drive " B2DRIVE_VERSION "\" \"User Commands\"\n";
  page += Section("NAME", Quoted(name) + " \\- " + Quoted(Summary(command)) + "\n");
  page += Section("SYNOPSIS", Synopsis(command));
  page +=
      Section("DESCRIPTION", Paragraphs(command.get_description() + "\n\n" + command.get_footer()));
  page += Section("ARGUMENTS", OptionList(command, true));
  page += Section("COMMANDS", CommandList(command));
  page += Section("OPTIONS", OptionList(command, false));
  page += more;
  page += Section("SEE ALSO", is_program ? ".BR fusermount3 (1)\n" : ".BR b2drive (1)\n");
  return page;
}

}  // namespace b2drive::cli
