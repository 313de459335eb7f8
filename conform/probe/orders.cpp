#include "conform/probe/orders.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "base/thread_safety.h"

namespace probe {
namespace {

struct Counts {
  base::Mutex mutex;
  std::map<std::string, long> calls B2_GUARDED_BY(mutex);
};

long CountCall(const std::string& slot) {
  static Counts counts;
  const base::Lock lock(counts.mutex);
  return ++counts.calls[slot];
}

long NumberIn(const std::string& text) {
  char* end = nullptr;
  const long number = std::strtol(text.c_str(), &end, 10);
  if (!text.empty() && *end == '\0') return number;
  std::fprintf(stderr, "B2PROBE: no number: %s\n", text.c_str());
  std::exit(99);
}

// Takes what stands behind a sign off a word.
std::string TakeBehind(std::string& word, char sign) {
  const std::size_t at = word.find(sign);
  if (at == word.npos) return "";
  std::string behind = word.substr(at + 1);
  word.resize(at);
  return behind;
}

}  // namespace

Orders::Orders(const std::string& slot) {
  const long call = CountCall(slot);
  const char* const text = std::getenv("B2PROBE");
  std::istringstream words(text == nullptr ? "" : text);
  for (std::string word; words >> word;) {
    const std::string at = TakeBehind(word, '@');
    const std::string number = TakeBehind(word, '=');
    const std::string misdeed = TakeBehind(word, ':');
    if (word != slot || (!at.empty() && NumberIn(at) != call)) continue;
    misdeeds_[misdeed] = number.empty() ? 0 : NumberIn(number);
  }
}

long Orders::Number(const std::string& misdeed, long otherwise) const {
  const auto found = misdeeds_.find(misdeed);
  return found == misdeeds_.end() ? otherwise : found->second;
}

void Die() {
  raise(SIGKILL);
  std::abort();
}

}  // namespace probe
