#include "util/wildcard.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

// The meaning of the wildcards, tried position by position in exponential time.
bool Try(const char* expression, const char* name) {
  const char* at = name;
  for (; *expression != '\0'; ++expression) {
    const char c = *expression;
    const char* last_dot = std::strrchr(at, '.');
    if (c == '*' || c == '<') {
      const char* stop = c == '*' ? nullptr : last_dot != nullptr ? last_dot : name;
      for (; *at != '\0' && at != stop; ++at) {
        if (Try(expression + 1, at)) return true;
      }
    } else if (c == '"') {
      at += *at == '.' ? 1 : 0;
    } else if (*at == '\0' || (c != '?' && c != '>' && c != *at)) {
      return false;
    } else {
      at += c == '>' && at == last_dot ? 0 : 1;
    }
  }
  return *at == '\0';
}

std::vector<std::string> AllTexts(const std::string& alphabet, std::size_t length) {
  std::vector<std::string> texts = {""};
  for (std::size_t i = 0; texts[i].size() < length; ++i) {
    for (const char c : alphabet) texts.push_back(std::string(texts[i]) + c);
  }
  return texts;
}

}  // namespace

TEST(WildcardTest, AgreesWithTryingEveryPosition) {
  const std::vector<std::string> names = AllTexts("ab.", 4);
  for (const std::string& expression : AllTexts("ab.*?<>\"", 4)) {
    for (const std::string& name : names) {
      ASSERT_EQ(IsNameInExpressionA(expression.c_str(), name.c_str(), false),
                Try(expression.c_str(), name.c_str()))
          << expression << " on " << name;
    }
  }
}

TEST(WildcardTest, ComparesUpperCaseOnRequestAndTakesNoExponentialTime) {
  EXPECT_TRUE(IsNameInExpression(L"A*\u00C4", L"abc\u00C4", true));
  EXPECT_FALSE(IsNameInExpression(L"A*", L"abc", false));
  std::string expression = "b";
  for (int i = 0; i < 40; ++i) expression.insert(0, "*a");
  EXPECT_FALSE(IsNameInExpressionA(expression.c_str(), std::string(10000, 'a').c_str(), true));
}
