#include "host/commands/expected_word.h"

#include <algorithm>

namespace b2drive::cli {
namespace {

using Options = std::vector<const CLI::Option*>;

bool Has(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

bool IsShown(const CLI::Option* option) { return !option->get_group().empty(); }

// Those of the command and of all above it, which take theirs behind it as well.
Options OptionsFor(const CLI::App* app) {
  Options all;
  for (; app != nullptr; app = app->get_parent()) {
    const auto own = app->get_options([](const CLI::Option* o) { return !o->get_positional(); });
    all.insert(all.end(), own.begin(), own.end());
  }
  return all;
}

bool TakesValue(const CLI::Option* option) { return option->get_items_expected_min() > 0; }

const CLI::Option* Find(const Options& options, const std::string& name) {
  const auto found = std::ranges::find_if(
      options, [&](const CLI::Option* option) { return option->check_name(name); });
  return found != options.end() ? *found : nullptr;
}

class Walk {
 public:
  explicit Walk(const CLI::App& program) : app_(&program) {}

  void Pass(const std::string& word) {
    if (const CLI::Option* option = std::exchange(open_, nullptr)) {
      Note(option, word);
    } else if (!only_arguments_ && word.size() > 1 && word.front() == '-') {
      PassOption(word);
    } else if (const CLI::App* command = Command(word)) {
      app_ = command;
    } else {
      ++arguments_;
    }
  }

  ExpectedWord Next(const std::string& current) {
    if (open_ != nullptr) {
      Offer(open_->get_type_name() + (open_->check_name("--profile") ? "PROFILE" : ""));
    } else if (!only_arguments_ && current.starts_with('-')) {
      OfferOptions();
    } else if (OffersCommands()) {
      OfferCommands(app_);
    } else if (const CLI::Option* argument = Argument()) {
      Offer(argument->get_name(true));
    }
    return std::move(expected_);
  }

 private:
  void Note(const CLI::Option* option, const std::string& value) {
    if (option->check_name("--profile")) expected_.profile = value;
  }

  void PassOption(const std::string& word) {
    only_arguments_ = word == "--";
    const std::size_t equals = word.find('=');
    // Of several short ones in a word the last may have its value in the next.
    const bool is_long = word.starts_with("--");
    const std::string name = is_long ? word.substr(0, equals) : std::string("-") + word.back();
    const CLI::Option* option = Find(OptionsFor(app_), name);
    if (option == nullptr || !TakesValue(option)) return;
    if (is_long && equals != std::string::npos) {
      Note(option, word.substr(equals + 1));
    } else {
      open_ = option;
    }
  }

  bool OffersCommands() const {
    return arguments_ == 0 && !only_arguments_ && !app_->get_subcommands({}).empty();
  }

  const CLI::App* Command(const std::string& word) const {
    if (!OffersCommands()) return nullptr;
    for (const CLI::App* command : app_->get_subcommands({})) {
      if (command->get_name() == word) return command;
    }
    return nullptr;
  }

  // The positional that the next argument goes to.
  const CLI::Option* Argument() const {
    int before = 0;
    for (const CLI::Option* option :
         app_->get_options([](const CLI::Option* o) { return o->get_positional(); })) {
      before += option->get_items_expected_max();
      if (arguments_ < before) return option;
    }
    return nullptr;
  }

  void OfferOptions() {
    for (const CLI::Option* option : OptionsFor(app_)) {
      if (!IsShown(option)) continue;
      for (const std::string& name : option->get_lnames()) expected_.words.push_back("--" + name);
      if (!option->get_lnames().empty()) continue;
      for (const std::string& name : option->get_snames()) expected_.words.push_back("-" + name);
    }
  }

  void OfferCommands(const CLI::App* app) {
    for (const CLI::App* command : app->get_subcommands({})) {
      if (!command->get_group().empty()) expected_.words.push_back(command->get_name());
    }
  }

  // By the name that the help gives an argument or a value.
  void Offer(const std::string& name) {
    expected_.paths = Has(name, "PATH");
    expected_.files = Has(name, "LOCAL") || Has(name, "FILE");
    expected_.folders = Has(name, "MOUNTPOINT") || Has(name, "FOLDER");
    expected_.profiles = Has(name, "PROFILE");
    if (Has(name, "SHELL")) expected_.words = {"bash", "fish", "zsh"};
    if (Has(name, "COMMAND")) OfferCommands(Top());
  }

  const CLI::App* Top() const {
    const CLI::App* top = app_;
    while (top->get_parent() != nullptr) top = top->get_parent();
    return top;
  }

  const CLI::App* app_;
  const CLI::Option* open_ = nullptr;  // whose value comes next
  bool only_arguments_ = false;        // after --
  int arguments_ = 0;
  ExpectedWord expected_;
};

}  // namespace

ExpectedWord Expected(const CLI::App& program, const TypedLine& typed) {
  Walk walk(program);
  for (std::size_t i = 1; i < typed.words.size(); ++i) walk.Pass(typed.words[i]);
  ExpectedWord expected = walk.Next(typed.current);
  if (expected.profiles) expected.files = false;  // "PROFILE" says FILE
  return expected;
}

}  // namespace b2drive::cli
