#include "host/terminal/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <optional>

#include "host/common/errors.h"
#include "host/common/unique_fd.h"
#include "host/terminal/interrupt.h"

namespace b2drive {
namespace {

// Turns a terminal's echo off for its lifetime, an interrupted one included.
class EchoOff {
 public:
  explicit EchoOff(int fd)
      : fd_(fd), saved_(Attributes(fd)), restore_at_exit_([this] { Restore(); }) {
    termios hidden = saved_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(fd_, TCSAFLUSH, &hidden);
  }
  ~EchoOff() { Restore(); }
  EchoOff(const EchoOff&) = delete;
  EchoOff& operator=(const EchoOff&) = delete;

 private:
  static termios Attributes(int fd) {
    termios attributes{};
    tcgetattr(fd, &attributes);
    return attributes;
  }
  void Restore() { tcsetattr(fd_, TCSAFLUSH, &saved_); }

  int fd_;
  const termios saved_;
  InterruptCleanup restore_at_exit_;
};

std::string ReadLine(int fd) {
  std::string line;
  char byte = 0;
  constexpr std::size_t kMostBytes = 65536;
  while (line.size() < kMostBytes && read(fd, &byte, 1) == 1 && byte != '\n') line += byte;
  return line;
}

}  // namespace

std::string ReadInputLine() { return ReadLine(STDIN_FILENO); }

bool StdinIsTerminal() { return isatty(STDIN_FILENO) == 1; }

bool StdoutIsTerminal() { return isatty(STDOUT_FILENO) == 1; }

bool StderrIsTerminal() { return isatty(STDERR_FILENO) == 1; }

int TerminalColumns() {
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

void PrintToTerminal(const std::string& line) {
  std::string text = (StderrIsTerminal() ? "\r\033[K" : "") + line + "\n";
  std::fwrite(text.data(), 1, text.size(), stderr);
}

void PrintToOutput(const std::string& line) {
  if (StdoutIsTerminal() && StderrIsTerminal()) std::fputs("\r\033[K", stderr);
  std::cout << line << "\n" << std::flush;
}

int FlushOutput() {
  errno = 0;
  std::cout.flush();
  if (std::cout) return 0;
  pollfd output{STDOUT_FILENO, POLLOUT, 0};  // the failure may be long past
  if (poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0) return EPIPE;
  return errno != 0 ? errno : EIO;
}

void OccupyStandardDescriptors() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(fd, F_GETFD) == 0 || errno != EBADF) continue;
    open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);  // takes the lowest number, `fd`
  }
}

bool Confirm(const std::string& question) {
  std::cerr << question << " [y/N] " << std::flush;
  std::string answer = ReadLine(STDIN_FILENO);
  return answer == "y" || answer == "Y" || answer == "yes";
}

std::string Prompt(const std::string& question, bool hidden) {
  UniqueFd terminal(open("/dev/tty", O_RDWR | O_CLOEXEC));
  if (!terminal) {
    throw HostError(ExitCode::kNoAccount,
                    "no account: run b2drive login, or set B2_APPLICATION_KEY_ID and "
                    "B2_APPLICATION_KEY (see b2drive --help)");
  }
  // First: what was typed before is thrown away.
  std::optional<EchoOff> quiet;
  if (hidden) quiet.emplace(terminal.get());
  dprintf(terminal.get(), "%s: ", question.c_str());
  if (!hidden) return ReadLine(terminal.get());
  std::string answer = ReadLine(terminal.get());
  dprintf(terminal.get(), "\n");
  return answer;
}

}  // namespace b2drive
