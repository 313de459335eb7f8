#include "host/plugin/rate_limit.h"

#include <algorithm>

#include "base/numbers.h"

namespace b2drive {
namespace {

using std::chrono::nanoseconds;

// What may be made up for after nobody asked for a while.
constexpr std::chrono::milliseconds kCredit{50};

std::size_t SliceFor(std::int64_t rate) {
  constexpr std::int64_t kTurnsASecond = 64;
  constexpr std::int64_t kLeast = 1024;
  constexpr std::int64_t kMost = 512L * 1024;
  return static_cast<std::size_t>(std::clamp(rate / kTurnsASecond, kLeast, kMost));
}

}  // namespace

RateLimit::RateLimit(std::int64_t rate) : rate_(rate), slice_(SliceFor(rate)) {}

std::size_t RateLimit::Take(std::size_t wanted, Pauses& pauses) {
  if (rate_ == 0) return wanted;
  const std::size_t bytes = std::min(wanted, slice_);
  return pauses.WaitUntil(Reserve(bytes)) ? bytes : 0;
}

RateLimit::Clock::time_point RateLimit::Reserve(std::size_t bytes) {
  constexpr auto kSecond = static_cast<std::int64_t>(std::nano::den);
  const nanoseconds duration(static_cast<std::int64_t>(bytes) * kSecond / rate_);
  Lock lock(mutex_);
  taken_until_ = std::max(taken_until_, Clock::now() - kCredit) + duration;
  return taken_until_;
}

std::optional<std::int64_t> ParseRate(std::string_view text) {
  constexpr std::string_view kUnits = "KMG";
  constexpr std::int64_t kMost = std::int64_t{1} << 50;
  std::size_t unit = text.empty() ? kUnits.npos : kUnits.find(text.back());
  if (unit == kUnits.npos) {
    unit = 0;
  } else {
    text.remove_suffix(1);
  }
  const auto shift = static_cast<int>(10 * (unit + 1));
  const auto number = base::ParseNumber<std::int64_t>(text);
  if (!number || *number < 0 || *number > kMost >> shift) return std::nullopt;
  return *number << shift;
}

std::int64_t SlowestShare(std::int64_t rate) {
  constexpr std::int64_t kUnlimited = 500;
  constexpr std::int64_t kSharers = 2048;
  return rate == 0 ? kUnlimited : std::clamp<std::int64_t>(rate / kSharers, 1, kUnlimited);
}

}  // namespace b2drive
