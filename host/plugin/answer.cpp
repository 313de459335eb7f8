#include "host/plugin/answer.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <optional>
#include <span>

#include "base/numbers.h"
#include "protocol/log_lines.h"

namespace b2drive {
namespace {

using Fields = std::span<std::string_view>;

// Finds what stands in `line` for the first conversions of a printf format; each ends where the
// format's next literal begins, at the last place if that is a bracket: libcurl's texts hold some.
// False when the line is not of the format.
bool Scan(std::string_view format, std::string_view line, Fields fields) {
  constexpr std::size_t kConversion = 2;  // "%s", "%d"
  for (std::string_view& field : fields) {
    const std::size_t literal = format.find('%');
    if (!line.starts_with(format.substr(0, literal))) return false;
    line.remove_prefix(literal);
    format.remove_prefix(literal + kConversion);
    const std::string_view next = format.substr(0, format.find('%'));
    const std::size_t end = next == "(" ? line.rfind(next) : line.find(next);
    if (end == std::string_view::npos) return false;
    field = line.substr(0, end);
    line.remove_prefix(end);
  }
  const std::size_t literal = format.find('%');
  return literal == std::string_view::npos ? line == format
                                           : line.starts_with(format.substr(0, literal));
}

bool IsOneOf(std::string_view text, std::span<const char* const> texts) {
  return std::ranges::find(texts, text) != texts.end();
}

// The name that lives as long as the program; empty for none.
std::string_view QueryNamed(std::string_view name) {
  const auto* const found = std::ranges::find(query::kAll, name);
  return found == query::kAll.end() ? std::string_view() : *found;
}

// The cancellation that follows a failed large upload or copy would hide why that failed. One that
// comes first was asked for.
bool TidiesUp(std::string_view name, const Answer& answer) {
  return name == query::kCancelLargeFile && !answer.query.empty() && answer.query != name;
}

bool ReadStatus(std::string_view line, Answer& answer) {
  static constexpr std::array kSchemes = {"https", "HTTPS", "http", "HTTP"};
  static constexpr std::array kMethods = {"GET", "POST", "HEAD"};
  std::array<std::string_view, 4> fields;
  if (!Scan(log_lines::kAnswer, line, fields)) return false;
  const auto [name, scheme, method, status] = fields;
  const auto number = base::ParseNumber<int>(status);
  const std::string_view asked = QueryNamed(name);
  if (asked.empty() || !IsOneOf(scheme, kSchemes) || !IsOneOf(method, kMethods) || !number) {
    return false;
  }
  if (TidiesUp(name, answer)) return false;
  answer.status = *number;
  answer.query = asked;
  answer.transport.clear();
  if (*number == 200 && name == query::kStartLargeFile) ++answer.large_files_begun;
  return true;
}

bool ReadTransportFailure(const char* format, std::string_view line, Answer& answer) {
  constexpr int kNoTransferMade = 2;  // an inner call failed, which has its own line
  std::array<std::string_view, 3> fields;
  if (!Scan(format, line, fields)) return false;
  const auto [name, text, code] = fields;
  const auto number = base::ParseNumber<int>(code);
  const std::string_view asked = QueryNamed(name);
  if (asked.empty() || TidiesUp(name, answer) || !number || *number == kNoTransferMade)
    return false;
  answer.status = 0;
  answer.query = asked;
  answer.transport = std::string(text) + "(" + std::string(code) + ")";
  return true;
}

}  // namespace

bool Answer::IsOfLargeFile() const {
  return query == ::query::kUploadLargeFile || query == ::query::kUploadPartUrl;
}

bool Answer::IsOfSingleUpload() const {
  return query == ::query::kUploadSingle || query == ::query::kUploadUrl;
}

bool ReadAnswer(LOGLEVEL level, std::string_view line, Answer& answer) {
  switch (level) {
    case LOGLEVEL_TRACE:
      return ReadTransportFailure(log_lines::kNoAnswerTreated, line, answer);
    case LOGLEVEL_INFO:
      return ReadStatus(line, answer);
    case LOGLEVEL_ERROR:
      return ReadTransportFailure(log_lines::kNoAnswer, line, answer);
    case LOGLEVEL_WARNING:
      return false;
  }
  return false;
}

}  // namespace b2drive
