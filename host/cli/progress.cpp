#include "host/cli/progress.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

#include "host/terminal/output_style.h"
#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"

namespace b2drive {
namespace {

using Seconds = std::chrono::duration<double>;

// The rate of the last moments, so that a stall shows.
class RateMeter {
 public:
  double Update(std::int64_t done) {
    const auto now = std::chrono::steady_clock::now();
    const double elapsed = Seconds(now - last_).count();
    if (elapsed <= 0) return rate_;
    const double latest = static_cast<double>(done - last_done_) / elapsed;
    rate_ = started_ ? 0.8 * rate_ + 0.2 * latest : latest;
    started_ = true;
    last_done_ = done;
    last_ = now;
    return rate_;
  }

 private:
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
  std::int64_t last_done_ = 0;
  double rate_ = 0;
  bool started_ = false;
};

std::optional<std::int64_t> SecondsLeft(const ProgressState& state) {
  const double left = static_cast<double>(state.total - state.done) / state.rate;
  if (state.rate < 1 || left >= 1e6) return std::nullopt;
  return std::llround(std::ceil(left));
}

std::string Right(const std::string& text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

// From 0 to 1; by files where no bytes are to be moved.
double PartDone(const ProgressState& state) {
  if (state.total > 0) return static_cast<double>(state.done) / static_cast<double>(state.total);
  if (state.files < 2) return static_cast<double>(state.files);
  return static_cast<double>(state.files_done) / static_cast<double>(state.files);
}

// What follows the name, from the widest to the narrowest.
std::array<std::string, 4> Tails(const ProgressState& state) {
  constexpr std::size_t kBarWidth = 20;
  const double part = PartDone(state);
  const auto filled = static_cast<std::size_t>(part * kBarWidth);
  const std::string bar =
      " [" + std::string(filled, '=') + std::string(kBarWidth - filled, ' ') + "]";
  const std::string percent = Right(std::to_string(static_cast<int>(part * 100)), 4) + "%";
  if (state.total == 0) return {percent + bar, percent, percent, percent};
  const std::string bytes = "  " + Right(FormatBytes(static_cast<double>(state.done)), 6);
  const std::string rate = "  " + Right(FormatBytes(std::max(0.0, state.rate)), 6) + "/s";
  const std::string left = "  " + Right(FormatDuration(SecondsLeft(state).value_or(-1)), 5);
  return {percent + bar + bytes + rate + left + " left", percent + bytes + rate + left + " left",
          percent + rate + left, percent};
}

}  // namespace

std::string ProgressLine(const ProgressState& state, int columns) {
  constexpr int kLeastName = 6, kMostName = 30;
  ProgressState shown = state;
  shown.done = std::clamp<std::int64_t>(state.done, 0, std::max<std::int64_t>(0, state.total));
  std::string count;
  if (state.files > 1) {
    count = std::to_string(state.files_done) + "/" + std::to_string(state.files) + " ";
  }
  const int room = columns - 1 - static_cast<int>(count.size());
  std::string tail;
  for (const std::string& each : Tails(shown)) {
    tail = each;
    if (room - static_cast<int>(tail.size()) >= kLeastName) break;
  }
  const int name_width = std::clamp(room - static_cast<int>(tail.size()), kLeastName, kMostName);
  return FitColumns(count + FitColumns(EscapeControls(state.name), name_width) + tail, columns - 1);
}

Json ProgressRecord(const ProgressState& state) {
  const auto left = SecondsLeft(state);
  return {{"progress",
           {{"name", state.name},
            {"done", state.done},
            {"total", state.total},
            {"rate", std::llround(std::max(0.0, state.rate))},
            {"left", left ? Json(*left) : Json()},
            {"files_done", state.files_done},
            {"files", state.files}}}};
}

ProgressBar::ProgressBar(const Transfers& transfers, std::string name, std::int64_t total_bytes,
                         std::size_t files)
    : transfers_(transfers), name_(std::move(name)), before_(transfers.BytesDone()) {
  Expect(total_bytes, files);
  if (TheOutputStyle().progress != ProgressStyle::kNone) painter_ = std::thread([this] { Run(); });
}

ProgressBar::~ProgressBar() {
  if (!painter_.joinable()) return;
  pauses_.Cut();
  painter_.join();
}

void ProgressBar::Expect(std::int64_t bytes, std::size_t files) {
  Lock lock(mutex_);
  expected_.total += bytes;
  expected_.files += files;
}

ProgressState ProgressBar::Now() {
  Lock lock(mutex_);
  ProgressState state = expected_;
  state.name = in_work_.empty() ? name_ : in_work_.front();
  state.done = transfers_.BytesDone() - before_;
  return state;
}

void ProgressBar::Run() {
  constexpr auto kInterval = std::chrono::milliseconds(200);
  const bool json = TheOutputStyle().progress == ProgressStyle::kJson;
  RateMeter meter;
  for (bool more = true; more;) {
    more = pauses_.Wait(kInterval);
    ProgressState state = Now();
    state.rate = meter.Update(state.done);
    if (json) {
      PrintToTerminal(JsonText(ProgressRecord(state), StderrIsTerminal()));
    } else {
      std::fputs(more ? ("\r" + ProgressLine(state, TerminalColumns())).c_str() : "\r\033[K",
                 stderr);
    }
  }
}

ProgressBar::File::File(ProgressBar& bar, const std::string& name) : bar_(bar) {
  Lock lock(bar_.mutex_);
  position_ = bar_.in_work_.insert(bar_.in_work_.end(), name);
}

ProgressBar::File::~File() {
  Lock lock(bar_.mutex_);
  bar_.in_work_.erase(position_);
  ++bar_.expected_.files_done;
}

}  // namespace b2drive
