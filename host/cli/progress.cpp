#include "host/cli/progress.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "base/utf8.h"
#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"

namespace b2drive {
namespace {

using Seconds = std::chrono::duration<double>;

// The rate of the last moments, so that a stall shows.
class RateMeter {
 public:
  double Update(std::int64_t done, double elapsed_seconds) {
    if (elapsed_seconds <= 0) return rate_;
    double latest = static_cast<double>(done - last_done_) / elapsed_seconds;
    rate_ = started_ ? 0.8 * rate_ + 0.2 * latest : latest;
    started_ = true;
    last_done_ = done;
    return rate_;
  }

 private:
  std::int64_t last_done_ = 0;
  double rate_ = 0;
  bool started_ = false;
};

// Cuts or fills a text to `width` characters.
std::string Fit(std::string_view text, int width) {
  std::string out;
  for (; width > 0 && !text.empty(); --width) out += base::TakeCharacter(text).bytes;
  return out + std::string(static_cast<std::size_t>(std::max(0, width)), ' ');
}

}  // namespace

std::string ProgressLine(const std::string& name, std::int64_t done, std::int64_t total,
                         double rate, int columns) {
  constexpr int kBarWidth = 20;
  constexpr int kLeastName = 8;
  done = std::clamp<std::int64_t>(done, 0, total);
  double part = total > 0 ? static_cast<double>(done) / static_cast<double>(total) : 1.0;
  auto filled = static_cast<std::size_t>(part * kBarWidth);
  double left = static_cast<double>(total - done) / rate;
  std::int64_t seconds = rate >= 1 && left < 1e6 ? std::llround(std::ceil(left)) : -1;
  char numbers[96];
  std::snprintf(numbers, sizeof numbers, " %3d%% [%s%s] %7s %9s/s %7s left",
                static_cast<int>(part * 100), std::string(filled, '=').c_str(),
                std::string(kBarWidth - filled, ' ').c_str(),
                FormatBytes(static_cast<double>(done)).c_str(),
                FormatBytes(std::max(0.0, rate)).c_str(), FormatDuration(seconds).c_str());
  std::string tail = numbers;
  int name_width = std::max(kLeastName, std::min(30, columns - 1 - static_cast<int>(tail.size())));
  return Fit(Fit(EscapeControls(name), name_width) + tail, columns - 1);
}

ProgressBar::ProgressBar(const Transfers& transfers, std::string name, std::int64_t total_bytes)
    : transfers_(transfers),
      name_(std::move(name)),
      total_(total_bytes),
      before_(transfers.BytesDone()) {
  if (StderrIsTerminal()) painter_ = std::thread([this] { Run(); });
}

ProgressBar::~ProgressBar() {
  if (!painter_.joinable()) return;
  pauses_.Cut();
  painter_.join();
  std::fputs("\r\033[K", stderr);
}

void ProgressBar::Expect(std::int64_t bytes, std::size_t) { total_ += bytes; }

void ProgressBar::Run() {
  constexpr auto kInterval = std::chrono::milliseconds(200);
  RateMeter meter;
  auto last = std::chrono::steady_clock::now();
  while (pauses_.Wait(kInterval)) {
    auto now = std::chrono::steady_clock::now();
    std::int64_t done = transfers_.BytesDone() - before_;
    double rate = meter.Update(done, Seconds(now - last).count());
    last = now;
    std::fputs(("\r" + ProgressLine(name_, done, total_, rate, TerminalColumns())).c_str(), stderr);
  }
}

}  // namespace b2drive
