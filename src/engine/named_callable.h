#pragma once

#include <functional>
#include <string>

// A callable with the name under which log lines show it.
template <class Signature>
struct __zq_funcext {
  std::function<Signature> fn;
  std::string name;
};
