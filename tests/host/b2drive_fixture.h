#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <thread>

#include "emulator/emulator.h"
#include "emulator/inspection.h"
#include "emulator/seeding.h"
#include "tests/host/run_program.h"

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;

inline constexpr char kBucket[] = "test-bucket";
inline constexpr char kKey[] = "SecretKeyOfTheTests";
inline constexpr char kProxyPassword[] = "SecretOfTheProxy";

// b2drive as a user runs it: the built program and library in a folder of their own, against the
// emulator as its proxy.
class B2DriveTest : public testing::Test {
 protected:
  B2DriveTest() : scratch_(MakeScratch()), emulator_(EmulatorOptions(scratch_)) {
    fs::copy(B2DRIVE_FILE, scratch_ / "bin");
    fs::copy(B2_PLUGIN_FILE, scratch_ / "lib" / B2_PLUGIN_SONAME);
    emulator::EnsureBucket(emulator_.store(), kBucket);
    run_ = {scratch_ / "bin" / "b2drive", scratch_ / "work", {}, ""};
    run_.environment = {{"B2_APPLICATION_KEY_ID", emulator_.account_id()},
                        {"B2_APPLICATION_KEY", emulator_.key()},
                        {"B2DRIVE_PROXY", "http://user:" + std::string(kProxyPassword) +
                                              "@127.0.0.1:" + std::to_string(emulator_.port())}};
  }
  ~B2DriveTest() override { fs::remove_all(scratch_); }

  static fs::path MakeScratch() {
    std::string name = (fs::temp_directory_path() / "b2drive-e2e-XXXXXX").string();
    fs::path scratch = mkdtemp(name.data());
    for (const char* folder : {"bin", "lib", "Frameworks", "work"}) {
      fs::create_directory(scratch / folder);
    }
    return scratch;
  }

  static emulator::Options EmulatorOptions(const fs::path& scratch) {
    emulator::Options options;
    options.ca_file = scratch / "Frameworks" / "cacert.pem";
    options.key = kKey;
    options.recommended_part_size = 100'000;
    options.absolute_minimum_part_size = 50'000;
    options.proxy_user = "user";
    options.proxy_password = kProxyPassword;
    return options;
  }

  ProgramResult Run(const Arguments& arguments) { return RunningProgram(run_, arguments).Wait(); }

  // Runs a command that must succeed, and gives its output.
  std::string Output(const Arguments& arguments) {
    ProgramResult result = Run(arguments);
    EXPECT_EQ(result.exit_code, 0) << testing::PrintToString(arguments) << result.err;
    return result.out;
  }

  // Runs a command that must fail with one line, and gives that line.
  std::string Failure(int exit_code, const Arguments& arguments) {
    ProgramResult result = Run(arguments);
    EXPECT_EQ(result.exit_code, exit_code) << testing::PrintToString(arguments) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
    return result.err;
  }

  void Store(const std::string& name, const std::string& text) {
    emulator::AddText(emulator_.store(), kBucket, name, text);
  }
  std::vector<std::string> Names() { return emulator::VisibleNames(emulator_.store(), kBucket); }
  fs::path Work(const std::string& name) { return run_.folder / name; }

  void Fail(emulator::Fault fault) { emulator_.AddFault(std::move(fault)); }
  // Answers listings of names with `body`.
  void List(const std::string& body, int skip = 0, int times = 1) {
    Fail({.call = "b2_list_file_names", .skip = skip, .times = times, .status = 200, .body = body});
  }

  static std::string File(const std::string& name, const char* size) {
    return R"({"action": "upload", "fileId": "i", "uploadTimestamp": 0, "contentLength": )" +
           std::string(size) + R"(, "fileName": ")" + name + "\"}";
  }

  // Runs a command that asks, and agrees once `meanwhile` is done.
  ProgramResult Agree(const Arguments& arguments, const std::function<void()>& meanwhile) {
    ProgramRun run = run_;
    run.terminal = true;
    RunningProgram program(run, arguments);
    program.Await("[y/N]");
    meanwhile();
    program.Type("y\n");
    return program.Wait();
  }

  // Starts a command that transfers slowly, interrupts it in the middle and gives its end.
  ProgramResult Interrupt(Arguments arguments, const std::string& call) {
    arguments.insert(arguments.begin(), {"--limit", "1000"});
    RunningProgram program(run_, arguments);
    while (emulator_.Count(call) == 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    program.Signal(SIGINT);
    return program.Wait();
  }

  fs::path scratch_;
  emulator::Emulator emulator_;
  ProgramRun run_;
};
