#include "conform/process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace conform {
namespace {

using Clock = std::chrono::steady_clock;
using nlohmann::json;

constexpr int kReportFd = 3;  // in a case's process
constexpr std::size_t kKeptOutput = 4000;
constexpr char kDone[] = "done";

struct Pipe {
  Pipe() {
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  }
  ~Pipe() {
    for (int end : ends) {
      if (end >= 0) close(end);
    }
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  void Close(int end) { close(std::exchange(ends[end], -1)); }

  int ends[2];
};

// Replaces the child of a fork. What it calls is safe in the child of a process with threads.
[[noreturn]] void Become(char* const* arguments) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  execv(arguments[0], arguments);
  _exit(127);
}

std::vector<char*> Pointers(const Arguments& command) {
  std::vector<char*> pointers;
  for (const std::string& argument : command) {
    pointers.push_back(const_cast<char*>(argument.c_str()));
  }
  pointers.push_back(nullptr);
  return pointers;
}

// Appends what can be read; false at the end.
bool Drain(int fd, std::string& text) {
  char block[4096];
  const ssize_t count = read(fd, block, sizeof block);
  if (count > 0) text.append(block, static_cast<std::size_t>(count));
  return count > 0 || (count < 0 && errno == EINTR);
}

pid_t StartCase(const Arguments& command, int report, int output) {
  const auto pointers = Pointers(command);
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("no process");
  if (pid > 0) {
    setpgid(pid, pid);  // so that it is done whoever comes first
    return pid;
  }
  setpgid(0, 0);
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  if (report == kReportFd) {
    fcntl(report, F_SETFD, 0);
  } else {
    dup2(report, kReportFd);
  }
  Become(pointers.data());
}

// Reads both pipes until the case has closed the first, which its own processes do not have.
bool ReadUntilEnd(const Pipe& report, const Pipe& output, Clock::time_point end, std::string& said,
                  std::string& printed) {
  pollfd ends[] = {{report.ends[0], POLLIN, 0}, {output.ends[0], POLLIN, 0}};
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    if (left.count() <= 0) return false;
    poll(ends, 2, static_cast<int>(left.count()));
    if (ends[1].revents != 0 && !Drain(ends[1].fd, printed)) ends[1].fd = -1;
    if (ends[0].revents != 0 && !Drain(ends[0].fd, said)) return true;
  }
}

std::string EndOf(int status) {
  if (!WIFSIGNALED(status)) return "exit code " + std::to_string(WEXITSTATUS(status));
  return std::string("killed: ") + strsignal(WTERMSIG(status));
}

// Of the lines that a case has sent. False without the last one.
bool ReadFindings(const std::string& said, std::vector<Finding>& findings) {
  bool done = false;
  for (std::size_t at = 0, line_end; (line_end = said.find('\n', at)) != said.npos;
       at = line_end + 1) {
    const json line = json::parse(said.substr(at, line_end - at), nullptr, false);
    if (line == kDone) done = true;
    if (line.is_array() && line.size() == 3) findings.push_back({line[0], line[1], line[2]});
  }
  return done;
}

void Send(const json& line) {
  const std::string text = line.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
  for (std::size_t sent = 0; sent < text.size();) {
    const ssize_t count = write(kReportFd, text.data() + sent, text.size() - sent);
    if (count <= 0 && errno != EINTR) return;  // run by hand, without a pipe
    if (count > 0) sent += static_cast<std::size_t>(count);
  }
}

int WaitFor(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace

Outcome RunCase(const Arguments& command, std::chrono::seconds limit) {
  Pipe report, output;
  const pid_t pid = StartCase(command, report.ends[1], output.ends[1]);
  report.Close(1);
  output.Close(1);
  std::string said, printed;
  const bool ended = ReadUntilEnd(report, output, Clock::now() + limit, said, printed);
  if (!ended) kill(-pid, SIGKILL);
  const int status = WaitFor(pid);
  kill(-pid, SIGKILL);  // what it has left behind
  while (Drain(output.ends[0], printed)) {
  }
  Outcome outcome;
  const bool done = ReadFindings(said, outcome.findings);
  if (!ended) {
    outcome.findings.push_back(
        {"an end", "within " + std::to_string(limit.count()) + " s", "none"});
  } else if (!done || status != 0) {
    outcome.findings.push_back(
        {"the process", done ? "exit code 0" : "goes on to the case's end", EndOf(status)});
  }
  outcome.output = printed.substr(printed.size() - std::min(printed.size(), kKeptOutput));
  return outcome;
}

void SendFinding(const Finding& finding) { Send({finding.what, finding.expected, finding.got}); }

void SendDone() { Send(kDone); }

Companion::Companion(const Arguments& command) {
  Pipe output;
  const auto pointers = Pointers(command);
  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error("no process");
  if (pid_ == 0) {
    close(kReportFd);
    dup2(output.ends[1], STDOUT_FILENO);
    Become(pointers.data());
  }
  output.Close(1);
  while (line_.find('\n') == line_.npos && Drain(output.ends[0], line_)) {
  }
  if (line_.find('\n') == line_.npos) {
    WaitFor(pid_);
    throw std::runtime_error(command.front() + " does not start");
  }
}

Companion::~Companion() {
  kill(pid_, SIGTERM);
  WaitFor(pid_);
}

}  // namespace conform
