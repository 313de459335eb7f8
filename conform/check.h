#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "protocol/aerror.h"

// What cases say. A case runs in a process of its own and goes on after a finding; it has passed
// when it ends without one.
namespace conform {

using Text = const std::string&;
using Texts = std::vector<std::string>;
using Contents = std::map<std::string, std::string>;  // by name

struct Case {
  std::string name;  // "group.case"
  std::function<void()> run;
  bool slow = false;  // takes up to a minute, because it waits for what takes time by its nature
  bool bare = false;  // runs where no ../Frameworks stands beside the program
};

// Tells the process that started this one.
void Find(Text what, Text expected, Text got);

std::string Show(Text text);
std::string Show(const char* text);
std::string Show(AERROR code);
std::string Show(const Texts& texts);
std::string Show(const Contents& contents);
template <class Number>
std::string Show(Number number) requires(std::is_arithmetic_v<Number>) {
  return std::to_string(number);
}

// A finding unless both are the same; whether they are.
template <class Got, class Expected>
bool Equal(Text what, const Got& got, const Expected& expected) {
  bool same;
  if constexpr (std::is_integral_v<Got> && std::is_integral_v<Expected>) {
    same = std::cmp_equal(got, expected);
  } else {
    same = got == expected;
  }
  if (!same) Find(what, Show(expected), Show(got));
  return same;
}

bool True(Text what, bool holds);

}  // namespace conform
