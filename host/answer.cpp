#include "host/answer.h"

#include <charconv>
#include <optional>

namespace b2drive {
namespace {

constexpr std::string_view kCategory = "[PROTOCOL  ] ";
constexpr std::string_view kArrow = " >> ";

std::optional<int> ReadNumber(std::string_view text) {
  int number = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// "https POST >> 401 : URL(12) - 34ms"
std::optional<int> ReadStatus(std::string_view rest) {
  std::size_t arrow = rest.find(kArrow);
  if (arrow == std::string_view::npos) return std::nullopt;
  rest.remove_prefix(arrow + kArrow.size());
  return ReadNumber(rest.substr(0, rest.find(' ')));
}

// "Couldn't connect to server(7)", perhaps followed by " treat as AERROR::..."; gives the 7. The
// handlers' lines end in a hexadecimal code, which is no number here.
std::optional<int> ReadTransportCode(std::string_view& rest) {
  rest = rest.substr(0, rest.find(" treat as "));
  std::size_t open = rest.rfind('(');
  if (open == std::string_view::npos || rest.back() != ')') return std::nullopt;
  return ReadNumber(rest.substr(open + 1, rest.size() - open - 2));
}

}  // namespace

bool ReadAnswer(std::string_view line, Answer& answer) {
  constexpr int kNoTransferMade = 2;  // an inner call failed, which has its own line
  if (!line.starts_with(kCategory)) return false;
  line.remove_prefix(kCategory.size());
  std::size_t arrow = line.find(kArrow);
  // The call that follows a failed large upload would hide why it failed.
  if (arrow == std::string_view::npos || line.starts_with("CancelLargeFile ")) return false;
  std::string_view rest = line.substr(arrow + kArrow.size());
  if (auto status = ReadStatus(rest)) {
    answer.status = *status;
    answer.transport.clear();
    if (*status == 200 && line.starts_with("StartLargeFile ")) ++answer.large_files_begun;
    return true;
  }
  if (auto code = ReadTransportCode(rest); code && *code != kNoTransferMade) {
    answer.status = 0;
    answer.transport = rest;
    return true;
  }
  return false;
}

}  // namespace b2drive
