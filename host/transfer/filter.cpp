#include "host/transfer/filter.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cwctype>
#include <fstream>
#include <optional>

#include "host/common/errors.h"

namespace b2drive {
namespace {

using Bytes = std::bitset<256>;

std::size_t Index(char byte) { return static_cast<unsigned char>(byte); }

// Takes a byte off the front, one that a backslash quotes where it does. None at the end.
std::optional<char> TakeQuoted(std::string_view& text) {
  if (text.starts_with('\\')) text.remove_prefix(1);
  if (text.empty()) return std::nullopt;
  const char byte = text.front();
  text.remove_prefix(1);
  return byte;
}

// "[:alpha:]" and its like at the front, ASCII only; false when there is none.
bool TakeClass(std::string_view& set, Bytes& bytes) {
  const std::size_t end = set.starts_with("[:") ? set.find(']', 2) : std::string_view::npos;
  if (end == std::string_view::npos || set[end - 1] != ':') return false;
  const std::wctype_t type = std::wctype(std::string(set.substr(2, end - 3)).c_str());
  for (wint_t byte = 0; byte < 128; ++byte) {
    if (std::iswctype(byte, type) != 0) bytes.set(byte);
  }
  set.remove_prefix(end + 1);
  return true;
}

// Adds the byte at the front of a set, or the range from it on.
bool TakeRange(std::string_view& set, Bytes& bytes) {
  const auto first = TakeQuoted(set);
  auto last = first;
  if (first && set.size() >= 2 && set[0] == '-' && set[1] != ']') {
    set.remove_prefix(1);
    last = TakeQuoted(set);
  }
  if (!last) return false;
  for (std::size_t byte = Index(*first); byte <= Index(*last); ++byte) bytes.set(byte);
  return true;
}

// What is behind "[", with the "]", which is an ordinary byte where it comes first. None when it
// has no end.
std::optional<Bytes> TakeSet(std::string_view& pattern) {
  Bytes bytes;
  const bool negated = pattern.starts_with('!') || pattern.starts_with('^');
  if (negated) pattern.remove_prefix(1);
  do {
    if (!TakeClass(pattern, bytes) && !TakeRange(pattern, bytes)) return std::nullopt;
    if (pattern.empty()) return std::nullopt;
  } while (!pattern.starts_with(']'));
  pattern.remove_prefix(1);
  if (negated) bytes.flip();
  return bytes.reset(Index('/'));
}

// The last `names` names of a path; none when it has fewer.
std::optional<std::string_view> LastNames(std::string_view path, std::size_t names) {
  std::size_t start = path.size();
  for (; names > 0; --names) {
    if (start == std::string_view::npos) return std::nullopt;
    start = start == 0 ? std::string_view::npos : path.rfind('/', start - 1);
  }
  return start == std::string_view::npos ? path : path.substr(start + 1);
}

}  // namespace

void Filter::ExcludeFrom(const std::filesystem::path& file) {
  std::ifstream lines(file == "-" ? "/dev/stdin" : file);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.ends_with('\r')) line.pop_back();
    if (!line.empty() && !line.starts_with('#') && !line.starts_with(';')) Exclude(line);
  }
  if (!lines.eof()) throw LocalFailure(file.string(), errno);
}

bool Filter::TakesAll() const {
  return !rules_.empty() && std::ranges::all_of(rules_, &Rule::take);
}

void Filter::Add(std::string_view text, bool take) {
  Rule rule;
  rule.take = take;
  if (text.starts_with("+ ") || text.starts_with("- ")) {
    rule.take = text.front() == '+';
    text.remove_prefix(2);
  }
  if (text == "!") return rules_.clear();
  if (text.empty()) throw HostError(ExitCode::kUsage, "an empty rule");
  if (text.size() > 1 && text.ends_with('/')) {
    rule.folders_only = true;
    text.remove_suffix(1);
  }
  const bool deep = text.find("**") != std::string_view::npos;
  rule.folder_has_slash = text.ends_with("***");
  if (text.starts_with('/')) {
    rule.place = Place::kRoot;
    text.remove_prefix(1);
  } else if (text.starts_with("**")) {
    rule.place = Place::kRoot;
    rule.slash_before = true;
  } else if (deep) {
    rule.place = Place::kAnyName;
  } else {
    rule.names = static_cast<std::size_t>(std::ranges::count(text, '/')) + 1;
  }
  rule.tokens = Tokens(text);
  rules_.push_back(std::move(rule));
}

std::vector<Filter::Token> Filter::Tokens(std::string_view pattern) {
  std::vector<Token> tokens;
  const auto add = [&](Token::Kind kind, Bytes bytes = {}) { tokens.push_back({kind, bytes}); };
  const bool has_wildcards = pattern.find_first_of("*?[") != std::string_view::npos;
  while (!pattern.empty()) {
    const char front = pattern.front();
    if (!has_wildcards || std::string_view("*?[\\").find(front) == std::string_view::npos) {
      add(Token::Kind::kByte, Bytes().set(Index(front)));
      pattern.remove_prefix(1);
    } else if (front == '*') {
      const std::size_t stars = std::min(pattern.find_first_not_of('*'), pattern.size());
      add(stars > 1 ? Token::Kind::kDeepStar : Token::Kind::kStar);
      pattern.remove_prefix(stars);
    } else if (front == '\\') {
      const auto byte = TakeQuoted(pattern);
      add(Token::Kind::kByte, byte ? Bytes().set(Index(*byte)) : Bytes());
    } else {
      pattern.remove_prefix(1);
      const auto set = front == '?' ? Bytes().set().reset(Index('/')) : TakeSet(pattern);
      add(Token::Kind::kByte, set.value_or(Bytes()));
      if (!set) throw HostError(ExitCode::kUsage, "a rule has [ without its ]");
    }
  }
  return tokens;
}

bool Filter::Takes(std::string_view path, bool folder) const {
  const auto decides = [&](const Rule& rule) { return Matches(rule, path, folder); };
  const auto rule = std::ranges::find_if(rules_, decides);
  return rule == rules_.end() || rule->take;
}

bool Filter::Matches(const Rule& rule, std::string_view path, bool folder) {
  if (rule.folders_only && !folder) return false;
  if (rule.place == Place::kLastNames) {
    const auto names = LastNames(path, rule.names);
    return names && MatchesAll(rule.tokens, *names);
  }
  std::string text = (rule.slash_before ? "/" : "") + std::string(path);
  if (folder && rule.folder_has_slash) text += '/';
  if (rule.place == Place::kRoot) return MatchesAll(rule.tokens, text);
  for (std::string_view rest = text;;) {
    if (MatchesAll(rule.tokens, rest)) return true;
    const std::size_t slash = rest.find('/');
    if (slash == std::string_view::npos) return false;
    rest.remove_prefix(slash + 1);
  }
}

// Where the text differs it goes back to the last star, and from there, when that would have to
// cross a slash, to the last deep star: nothing before those can make a difference.
bool Filter::MatchesAll(const std::vector<Token>& tokens, std::string_view text) {
  struct Retry {
    bool possible = false;
    std::size_t token = 0;  // the one behind the star
    std::size_t at = 0;     // what the star ends before
  } star, deep;
  std::size_t token = 0;
  for (std::size_t at = 0; at < text.size() || token < tokens.size();) {
    if (token < tokens.size() && tokens[token].kind != Token::Kind::kByte) {
      const bool is_deep = tokens[token].kind == Token::Kind::kDeepStar;
      star.possible = false;
      (is_deep ? deep : star) = {true, ++token, at};
    } else if (token < tokens.size() && at < text.size() && tokens[token].bytes[Index(text[at])]) {
      ++token;
      ++at;
    } else if (star.possible && star.at < text.size() && text[star.at] != '/') {
      token = star.token;
      at = ++star.at;
    } else if (deep.possible && deep.at < text.size()) {
      star.possible = false;
      token = deep.token;
      at = ++deep.at;
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace b2drive
