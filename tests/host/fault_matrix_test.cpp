#include "tests/support/fault_matrix.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <thread>

namespace {

namespace fs = std::filesystem;
using fault_matrix::kLarge;

struct Command {
  fault_matrix::Operation operation;
  std::vector<std::string> arguments;
  std::string output = "";  // printed, or in the file "got"
};

const std::vector<Command> kCommands = {
    {{"ls"}, {"ls", "/bucket"}, "a\nc\ne/\nlarge\np/\n"},
    {{"cat"}, {"cat", "/bucket/a"}, "new"},
    {{"get"}, {"get", "/bucket/large", "got"}, kLarge},
    {{"get a range"}, {"get", "/bucket/a", "got", "--offset", "1"}, "ew"},
    {{"put", {{"n", "mine"}}}, {"put", "small", "/bucket/n"}},
    {{"put large", {{"n", kLarge}}}, {"put", "large", "/bucket/n"}},
    {{"put over", {{"a", "mine"}}}, {"put", "small", "/bucket/a"}},
    {{"rm", {}, "a"}, {"rm", "/bucket/a"}},
    {{"rm -r", {}, "p/x"}, {"rm", "-r", "--yes", "/bucket/p"}},
    {{"mkdir", {{"n/.bzEmpty", ""}}}, {"mkdir", "/bucket/n"}},
    {{"rmdir", {}, "e/.bzEmpty"}, {"rmdir", "/bucket/e"}}};

std::string ReadFile(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// What a new process is given.
std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Program and library in a folder of their own, started in its folder "work".
class CommandLine final : public fault_matrix::Client {
 public:
  CommandLine() {
    for (const char* folder : {"bin", "lib", "work"}) fs::create_directory(scratch_ / folder);
    fs::copy(B2DRIVE_FILE, scratch_ / "bin");
    fs::copy(B2_PLUGIN_FILE, scratch_ / "lib" / B2_PLUGIN_SONAME);
    std::ofstream(scratch_ / "work/small") << "mine";
    std::ofstream(scratch_ / "work/large") << kLarge;
  }
  ~CommandLine() override { fs::remove_all(scratch_); }

  emulator::Emulator& Service() override { return emulator_; }

  bool Perform(std::size_t operation) override {
    const Command& command = kCommands[operation];
    Start(command.arguments);
    std::optional<int> code = ExitCodeWithin(fault_matrix::kPatience);
    const bool stopped = !code;
    if (stopped) code = SendSignal(SIGTERM);
    EXPECT_TRUE(code) << "hangs";
    if (!code) code = SendSignal(SIGKILL);
    const std::string out = ReadFile(scratch_ / "out"), err = ReadFile(scratch_ / "err");
    const bool succeeded = code == 0;
    EXPECT_GE(code.value_or(-1), 0) << err;
    // It may end by itself just when it is told to.
    EXPECT_TRUE(err.empty() == succeeded || (stopped && succeeded)) << err;
    const fs::path got = scratch_ / "work/got";
    const bool gets = command.arguments[0] == "get";
    EXPECT_EQ(fs::exists(got), gets && succeeded);
    const std::string output = gets ? ReadFile(got) : out;
    EXPECT_TRUE(succeeded ? output == command.output : command.output.starts_with(output));
    return succeeded;
  }

 private:
  static fs::path MakeScratch() {
    std::string name = (fs::temp_directory_path() / "b2drive-matrix-XXXXXX").string();
    const fs::path scratch = mkdtemp(name.data());
    fs::create_directory(scratch / "Frameworks");
    return scratch;
  }

  void Start(const std::vector<std::string>& arguments) {
    const std::string run = "cd " + (scratch_ / "work").string() +
                            " && exec ../bin/b2drive \"$@\" </dev/null >../out 2>../err";
    std::vector<std::string> texts{"sh", "-c", run, "sh"};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables{
        "B2_APPLICATION_KEY_ID=" + emulator_.account_id(), "B2_APPLICATION_KEY=" + emulator_.key(),
        "B2DRIVE_PROXY=http://127.0.0.1:" + std::to_string(emulator_.port())};
    EXPECT_EQ(posix_spawn(&pid_, "/bin/sh", nullptr, nullptr, Pointers(texts).data(),
                          Pointers(variables).data()),
              0);
  }

  // -1 when a signal ended it.
  std::optional<int> ExitCodeWithin(std::chrono::seconds time) {
    const auto last = std::chrono::steady_clock::now() + time;
    int status = 0;
    while (waitpid(pid_, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > last) return std::nullopt;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::optional<int> SendSignal(int signal) {
    kill(pid_, signal);
    return ExitCodeWithin(fault_matrix::kStop);
  }

  const fs::path scratch_ = MakeScratch();
  emulator::Emulator emulator_{{.ca_file = scratch_ / "Frameworks/cacert.pem",
                                .recommended_part_size = fault_matrix::kPart,
                                .absolute_minimum_part_size = fault_matrix::kPart}};
  pid_t pid_ = -1;
};

TEST(FaultMatrixTest, ACommandLosesNothingAndCanBeStopped) {
  std::vector<fault_matrix::Operation> operations;
  for (const Command& command : kCommands) operations.push_back(command.operation);
  fault_matrix::Run(operations, [] { return std::make_unique<CommandLine>(); });
}

}  // namespace
