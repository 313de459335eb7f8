#include "util/strings.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

namespace {

template <typename Text, typename Regex>
std::vector<Text> SplitByRegex(const Text& text, const Regex& separator) {
  using Pieces = std::regex_token_iterator<typename Text::const_iterator>;
  constexpr int kBetweenMatches = -1;
  return {Pieces(text.begin(), text.end(), separator, kBetweenMatches), Pieces()};
}

template <typename Text>
std::vector<Text> SplitByDelimiters(const Text& text, const Text& delimiters) {
  std::vector<Text> pieces;
  std::size_t begin = text.find_first_not_of(delimiters);
  while (begin != Text::npos) {
    const std::size_t end = text.find_first_of(delimiters, begin);
    pieces.push_back(text.substr(begin, end - begin));
    begin = text.find_first_not_of(delimiters, end);
  }
  return pieces;
}

template <typename Text>
void ReplaceAll(Text& text, const Text& from, const Text& to) {
  if (from.empty()) return;
  Text result;
  std::size_t done = 0;
  for (std::size_t hit = text.find(from); hit != Text::npos; hit = text.find(from, done)) {
    result.append(text, done, hit - done).append(to);
    done = hit + from.size();
  }
  result.append(text, done);
  text = std::move(result);
}

}  // namespace

std::string string_format(std::string format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(nullptr, 0, format.c_str(), arguments);
  va_end(arguments);
  if (length <= 0) return {};
  std::string text(static_cast<std::size_t>(length) + 1, '\0');
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format.c_str(), arguments);
  va_end(arguments);
  text.pop_back();
  return text;
}

std::vector<std::string> split(const std::string& text, const std::regex& separator) {
  return SplitByRegex(text, separator);
}

std::vector<std::wstring> split(const std::wstring& text, const std::wregex& separator) {
  return SplitByRegex(text, separator);
}

std::vector<std::string> split_delim(const std::string& text, const std::string& delimiters) {
  return SplitByDelimiters(text, delimiters);
}

std::vector<std::wstring> split_delim(const std::wstring& text, const std::wstring& delimiters) {
  return SplitByDelimiters(text, delimiters);
}

std::string join(const std::vector<std::string>& items, std::string separator) {
  std::string text;
  for (const std::string& item : items) {
    if (&item != items.data()) text += separator;
    text += item;
  }
  return text;
}

void replace_all(std::string& text, const std::string& from, const std::string& to) {
  ReplaceAll(text, from, to);
}

void replace_all(std::wstring& text, const std::wstring& from, const std::wstring& to) {
  ReplaceAll(text, from, to);
}

std::string& trim(std::string& text) {
  constexpr const char* kWhiteSpace = " \t\n\v\f\r";
  text.erase(text.find_last_not_of(kWhiteSpace) + 1);
  text.erase(0, text.find_first_not_of(kWhiteSpace));
  return text;
}

bool ends_with(const std::string& text, const std::string& suffix) {
  return text.ends_with(suffix);
}

std::string util::LowerCase(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}
