#include "emulator/link_settings.h"

#include <boost/algorithm/string/split.hpp>
#include <charconv>
#include <stdexcept>
#include <string>
#include <vector>

namespace emulator {
namespace {

constexpr double kLongestMilliseconds = 60'000;
constexpr double kMostMegabytes = 10'000;
constexpr double kSmallestMegabytes = 0.001;
constexpr double kMostInFlight = 256;  // MB; each connection has buffers of this size

[[noreturn]] void Refuse(std::string_view text, const std::string& why) {
  throw std::invalid_argument("link '" + std::string(text) + "': " + why);
}

double NumberOf(const std::string& field, std::string_view text, double least, double most) {
  double number = 0;
  const char* const end = field.data() + field.size();
  const auto [last, error] = std::from_chars(field.data(), end, number, std::chars_format::fixed);
  if (error == std::errc() && last == end && number >= least && number <= most) return number;
  Refuse(text, "'" + field + "' is not a number that makes sense there");
}

std::chrono::milliseconds TimeOf(const std::string& field, std::string_view text) {
  return std::chrono::milliseconds(
      static_cast<int64_t>(NumberOf(field, text, 0, kLongestMilliseconds)));
}

uint64_t BytesOf(const std::string& field, std::string_view text) {
  return static_cast<uint64_t>(1e6 * NumberOf(field, text, kSmallestMegabytes, kMostMegabytes));
}

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> fields;
  return boost::algorithm::split(fields, text, [&](char c) { return c == separator; });
}

}  // namespace

std::optional<LinkSettings> ParseLink(std::string_view text) {
  if (text.empty()) return std::nullopt;
  const std::vector<std::string> fields = Split(text, ',');
  const std::vector<std::string> loss =
      fields.size() == 3 ? Split(fields[2], '/') : std::vector<std::string>(2, "");
  if (fields.size() < 2 || fields.size() > 3 || loss.size() != 2) {
    Refuse(text, "must be RTT_MS,MB_PER_S[,LOSS_MS/EVERY_MB]");
  }
  LinkSettings link{TimeOf(fields[0], text), BytesOf(fields[1], text)};
  if (fields.size() == 3) {
    link.loss = TimeOf(loss[0], text);
    link.loss_every = BytesOf(loss[1], text);
  }
  const double in_flight =
      static_cast<double>(link.round_trip.count()) / 1e3 * static_cast<double>(link.rate) / 1e6;
  if (in_flight > kMostInFlight) Refuse(text, "would have more than 256 MB in flight");
  return link;
}

}  // namespace emulator
