#include "conform/check.h"

#include "conform/process.h"

namespace conform {
namespace {

constexpr std::size_t kLongest = 300;  // bytes of a text that is shown

template <class Range, class ShowOne>
std::string Joined(const Range& range, const ShowOne& show_one) {
  std::string text;
  for (const auto& one : range) {
    if (text.size() > kLongest) return "[" + text + ", ...]";
    text += (text.empty() ? "" : ", ") + show_one(one);
  }
  return "[" + text + "]";
}

}  // namespace

void Find(Text what, Text expected, Text got) { SendFinding({what, expected, got}); }

std::string Show(Text text) {
  if (text.size() <= kLongest) return "\"" + text + "\"";
  return "\"" + text.substr(0, kLongest) + "...\" (" + std::to_string(text.size()) + " bytes)";
}

std::string Show(const char* text) { return text == nullptr ? "null" : Show(std::string(text)); }

std::string Show(AERROR code) {
  return std::string(GetAERRORA(code)) + " (" + std::to_string(static_cast<int>(code)) + ")";
}

std::string Show(const Texts& texts) {
  return Joined(texts, [](Text text) { return Show(text); });
}

std::string Show(const Contents& contents) {
  return Joined(contents, [](const auto& one) { return one.first + ": " + Show(one.second); });
}

bool True(Text what, bool holds) {
  if (!holds) Find(what, "true", "false");
  return holds;
}

}  // namespace conform
