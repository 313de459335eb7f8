#include "tests/host/run_program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <thread>

namespace {

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

RunningProgram::RunningProgram(const ProgramRun& run, const std::vector<std::string>& arguments)
    : out_(run.folder.string() + ".out"), err_(run.folder.string() + ".err") {
  std::string in = run.folder.string() + ".in";
  WriteFile(in, run.input);
  if (run.terminal) {
    terminal_ = b2drive::UniqueFd(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    EXPECT_TRUE(grantpt(terminal_.get()) == 0 && unlockpt(terminal_.get()) == 0);
    in = ptsname(terminal_.get());
  }
  std::vector<std::string> texts{run.program.string()};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<std::string> variables;
  for (const auto& [name, value] : run.environment) variables.push_back(name + "=" + value);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY | O_NOCTTY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, out_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, err_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addchdir_np(&actions, run.folder.c_str());
  // Tests may run in the background of a shell, which ignores interrupts.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigfillset(&signals);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  EXPECT_EQ(posix_spawn(&pid_, run.program.c_str(), &actions, &attributes, Pointers(texts).data(),
                        Pointers(variables).data()),
            0);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
}

void RunningProgram::Signal(int signal) const { EXPECT_EQ(kill(pid_, signal), 0); }

void RunningProgram::Await(const std::string& text) const {
  while (ReadFile(err_).find(text) == std::string::npos) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

void RunningProgram::Type(const std::string& text) const {
  EXPECT_EQ(write(terminal_.get(), text.data(), text.size()), std::ssize(text));
}

bool RunningProgram::EndsWithin(std::chrono::milliseconds time) const {
  const auto last = std::chrono::steady_clock::now() + time;
  siginfo_t ended{};
  while (waitid(P_PID, static_cast<id_t>(pid_), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         ended.si_pid == 0) {
    if (std::chrono::steady_clock::now() > last) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

ProgramResult RunningProgram::Wait() {
  int status = 0;
  EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(out_), ReadFile(err_)};
}

std::string ReadFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void WriteFile(const std::filesystem::path& file, const std::string& text) {
  std::ofstream(file, std::ios::binary) << text;
}
