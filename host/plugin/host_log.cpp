#include "host/plugin/host_log.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>

#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"
#include "protocol/log_lines.h"

namespace b2drive {
namespace {

std::atomic<bool> servers_unverified = false;
thread_local Answer last_answer;
thread_local SignInAnswer last_sign_in;
thread_local HostLog::Watcher answer_watcher;

std::string Format(const char* format, std::va_list arguments) {
  char* raw = nullptr;
  int length = vasprintf(&raw, format, arguments);
  if (length < 0) return format;
  std::unique_ptr<char, void (*)(void*)> text(raw, std::free);
  return {text.get(), static_cast<std::size_t>(length)};
}

const char* LevelName(LOGLEVEL level) {
  switch (level) {
    case LOGLEVEL_TRACE:
      return "TRACE";
    case LOGLEVEL_INFO:
      return "INFO ";
    case LOGLEVEL_WARNING:
      return "WARN ";
    case LOGLEVEL_ERROR:
      return "ERROR";
  }
  return "?    ";
}

// "2026-01-31T12:34:56.789Z"
std::string Now() {
  auto now = std::chrono::system_clock::now();
  std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text.data() + length, text.size() - length, ".%03dZ",
                static_cast<int>(milliseconds));
  return text.data();
}

}  // namespace

HostLog::HostLog(bool verbose, BodyLog* bodies)
    : shown_levels_(verbose ? ~0 : 0), bodies_(bodies) {}

void HostLog::SetLevels(std::int32_t levels) {
  Lock lock(mutex_);
  shown_levels_ = levels;
}

void HostLog::Log(LOGLEVEL level, const char* format, std::va_list arguments) {
  std::string line = Format(format, arguments);
  if (line == log_lines::kServersNotVerified) servers_unverified = true;
  if (IsSignInLine(line)) last_sign_in = ReadSignInLine(line);
  bool answered = ReadAnswer(level, line, last_answer);
  Write(level, line);
  if (answered && answer_watcher) answer_watcher(last_answer);
}

void HostLog::Write(LOGLEVEL level, std::string_view line) {
  Lock lock(mutex_);
  bool shown = (shown_levels_ & level) != 0 && !IsBodyLine(line);
  if (!shown && bodies_ == nullptr) return;
  std::string stamp = Now() + " " + LevelName(level) + " ";
  if (shown) PrintToTerminal(stamp + EscapeControls(line));
  if (bodies_ != nullptr) bodies_->Append(stamp + std::string(line) + "\n");
}

const Answer& HostLog::LastAnswer() { return last_answer; }

const SignInAnswer& HostLog::LastSignIn() { return last_sign_in; }

void HostLog::ForgetAnswer() { last_answer = {}; }

void HostLog::NoteAnswer(const Answer& answer) { last_answer = answer; }

bool HostLog::ServersUnverified() { return servers_unverified; }

void HostLog::WatchAnswers(Watcher watcher) { answer_watcher = std::move(watcher); }

}  // namespace b2drive
