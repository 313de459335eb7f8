#include "host/commands/typed_line.h"

namespace b2drive::cli {
namespace {

class Reader {
 public:
  explicit Reader(std::string_view breaks) : breaks_(breaks) {}

  void Take(char c) {
    if (quote_ == '\'' && c != '\'') {
      typed_.current += c;
    } else if (escaped_) {
      escaped_ = false;
      typed_.current += c;
    } else if (c == '\\') {
      escaped_ = in_word_ = true;
    } else if (quote_ != 0 || c == '\'' || c == '"') {
      TakeQuoted(c);
    } else {
      TakePlain(c);
    }
  }

  TypedLine Result() && { return std::move(typed_); }

 private:
  void TakeQuoted(char c) {
    in_word_ = true;
    if (quote_ == 0) {
      quote_ = c;
    } else if (quote_ == c) {
      quote_ = 0;
    } else {
      typed_.current += c;
    }
  }

  void TakePlain(char c) {
    constexpr std::string_view kBlanks = " \t";
    constexpr std::string_view kEnds = ";|&()\n";
    const bool ends = kEnds.find(c) != std::string_view::npos;
    if (ends || kBlanks.find(c) != std::string_view::npos) {
      EndWord();
      if (ends) typed_.words.clear();
      return;
    }
    in_word_ = true;
    typed_.current += c;
    if (breaks_.find(c) != std::string_view::npos) typed_.behind_break = typed_.current.size();
  }

  void EndWord() {
    if (in_word_) typed_.words.push_back(std::move(typed_.current));
    typed_.current.clear();
    typed_.behind_break = 0;
    in_word_ = false;
  }

  const std::string_view breaks_;
  TypedLine typed_;
  char quote_ = 0;
  bool escaped_ = false;
  bool in_word_ = false;
};

bool IsAssignment(std::string_view word) {
  const std::size_t equals = word.find('=');
  return equals != std::string_view::npos && word.find('/') > equals;
}

}  // namespace

TypedLine ReadTypedLine(std::string_view line, std::string_view breaks) {
  Reader reader(breaks);
  for (const char c : line) reader.Take(c);
  TypedLine typed = std::move(reader).Result();
  while (!typed.words.empty() && IsAssignment(typed.words.front())) {
    typed.words.erase(typed.words.begin());
  }
  return typed;
}

}  // namespace b2drive::cli
