#include "util/wildcard.h"

#include <cctype>
#include <cwctype>
#include <string_view>
#include <vector>

namespace {

char UpperCase(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

wchar_t UpperCase(wchar_t c) { return static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c))); }

// Walks the expression from its end and keeps, for every position of the name, whether the part of
// the expression walked so far matches the name from there. Every wildcard means "the rest matches
// at one of these positions", so trying positions one after the other would find the same, but in
// time exponential in the number of wildcards.
template <typename Char>
class Matcher {
 public:
  Matcher(std::basic_string_view<Char> name, bool ignore_case)
      : name_(name), ignore_case_(ignore_case), matches_(name.size() + 1, 0) {
    matches_.back() = 1;
    const std::size_t dot = name.rfind(Char('.'));
    // Without a dot the start of the name stands in for it, and "<" stops there.
    last_dot_ = dot == name.npos ? 0 : dot;
  }

  bool Match(std::basic_string_view<Char> expression) {
    for (auto c = expression.rbegin(); c != expression.rend(); ++c) Prepend(*c);
    return matches_.front() != 0;
  }

 private:
  void Prepend(Char c) {
    switch (c) {
      case '*':
        return PrependRun(name_.size());
      case '<':
        return PrependRun(last_dot_);
      case '?':
        return PrependOne([](std::size_t) { return true; });
      case '>':
        return PrependOptional(
            [this](std::size_t at) { return name_[at] != '.' || at < last_dot_; }, false);
      case '"':
        return PrependOptional([this](std::size_t at) { return name_[at] == '.'; }, true);
      default:
        return PrependOne([this, c](std::size_t at) { return Equal(name_[at], c); });
    }
  }

  // Any run of characters that does not cross position `stop` from before.
  void PrependRun(std::size_t stop) {
    for (std::size_t at = name_.size(); at-- > 0;) {
      if (at != stop) matches_[at] |= matches_[at + 1];
    }
  }

  // One character, of those that `accepts` takes.
  template <typename Accepts>
  void PrependOne(Accepts accepts) {
    for (std::size_t at = 0; at < name_.size(); ++at) {
      matches_[at] = accepts(at) && matches_[at + 1];
    }
    matches_.back() = 0;
  }

  // One character where `consumes` says so, elsewhere none.
  template <typename Consumes>
  void PrependOptional(Consumes consumes, bool matches_end) {
    for (std::size_t at = 0; at < name_.size(); ++at) {
      if (consumes(at)) matches_[at] = matches_[at + 1];
    }
    if (!matches_end) matches_.back() = 0;
  }

  bool Equal(Char a, Char b) const {
    return a == b || (ignore_case_ && UpperCase(a) == UpperCase(b));
  }

  std::basic_string_view<Char> name_;
  bool ignore_case_;
  std::size_t last_dot_;
  std::vector<char> matches_;
};

}  // namespace

bool IsNameInExpressionA(const char* expression, const char* name, bool ignore_case) {
  return Matcher<char>(name, ignore_case).Match(expression);
}

bool IsNameInExpression(const wchar_t* expression, const wchar_t* name, bool ignore_case) {
  return Matcher<wchar_t>(name, ignore_case).Match(expression);
}
