#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "host/unique_fd.h"

// A program run in a folder of its own, with nothing of this process's environment.
struct ProgramRun {
  std::filesystem::path program;
  std::filesystem::path folder;
  std::map<std::string, std::string> environment;
  std::string input;      // standard input
  bool terminal = false;  // standard input is a terminal in place of `input`
};

struct ProgramResult {
  int exit_code = -1;  // -1: ended by a signal
  std::string out;
  std::string err;
};

// A started program, whose output goes to files beside its folder.
class RunningProgram {
 public:
  RunningProgram(const ProgramRun& run, const std::vector<std::string>& arguments);

  void Signal(int signal) const;
  void Await(const std::string& text) const;  // on standard error
  void Type(const std::string& text) const;   // on the terminal
  bool EndsWithin(std::chrono::milliseconds time) const;
  ProgramResult Wait();

 private:
  std::string out_;
  std::string err_;
  b2drive::UniqueFd terminal_;
  pid_t pid_ = -1;
};

std::string ReadFile(const std::filesystem::path& file);
void WriteFile(const std::filesystem::path& file, const std::string& text);
