#include "host/mount/process/background.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/common/unique_fd.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace {

std::vector<std::string> OwnArguments() {
  std::ifstream file("/proc/self/cmdline", std::ios::binary);
  std::string all((std::istreambuf_iterator<char>(file)), {});
  std::vector<std::string> arguments;
  for (std::size_t at = 0; at < all.size(); at = all.find('\0', at) + 1) {
    arguments.emplace_back(all.c_str() + at);
  }
  return arguments;
}

// Asked for here, where there is a terminal; others cannot read a process's environment.
void PassOn(const Account& account) {
  setenv("B2_APPLICATION_KEY_ID", account.key_id.c_str(), 1);
  setenv("B2_APPLICATION_KEY", account.key.c_str(), 1);
  if (!account.account_id.empty()) setenv("B2_ACCOUNT_ID", account.account_id.c_str(), 1);
}

pid_t Start(std::vector<std::string> arguments) {
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  // The signals that this process waits for are blocked in it.
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK);
  pid_t child = 0;
  int error = posix_spawn(&child, "/proc/self/exe", nullptr, &attributes, pointers.data(), environ);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) throw LocalFailure("starting in the background", error);
  return child;
}

ExitCode Outcome(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!WIFEXITED(status)) throw HostError(ExitCode::kFailed, "the mount ended unexpectedly");
  return static_cast<ExitCode>(WEXITSTATUS(status));
}

}  // namespace

ExitCode RunInBackground(const Account& account) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) throw LocalFailure("pipe", errno);
  UniqueFd ours(ends[0]);
  UniqueFd theirs(ends[1]);
  fcntl(ours.get(), F_SETFD, FD_CLOEXEC);
  PassOn(account);
  std::vector<std::string> arguments = OwnArguments();
  arguments.insert(arguments.end(), {"-f", "--live-fd=" + std::to_string(theirs.get())});
  pid_t child = Start(std::move(arguments));
  { UniqueFd closing = std::move(theirs); }
  char live = 0;
  ssize_t got = 0;
  do {
    got = read(ours.get(), &live, 1);
  } while (got < 0 && errno == EINTR);
  return got == 1 ? ExitCode::kSuccess : Outcome(child);
}

void ReportLive(int fd) {
  SendNoticesToSystemLog();
  UniqueFd nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
  for (int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nothing.get(), standard);
  // A mount must not keep the file system busy that it was started from.
  if (chdir("/") != 0) Notice("the working folder stays in use");
  UniqueFd waiting(fd);
  const char live = 1;
  // Who started us may have gone; that is no reason to end.
  [[maybe_unused]] ssize_t written = write(waiting.get(), &live, 1);
}

}  // namespace b2drive::mount
