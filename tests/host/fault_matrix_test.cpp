#include "tests/support/fault_matrix.h"

#include <fstream>
#include <iterator>

#include "tests/support/scratch.h"

namespace {

namespace fs = std::filesystem;
using fault_matrix::kLarge;

const std::vector<fault_matrix::Operation> kCommands = {{"ls /bucket"},
                                                        {"cat /bucket/a"},
                                                        {"get /bucket/large got"},
                                                        {"get /bucket/a got --offset 1"},
                                                        {"put small /bucket/n", {{"n", "mine"}}},
                                                        {"put large /bucket/n", {{"n", kLarge}}},
                                                        {"put small /bucket/a", {{"a", "mine"}}},
                                                        {"rm /bucket/a", {}, "a"},
                                                        {"rm -r --yes /bucket/p", {}, "p/x"},
                                                        {"mkdir /bucket/n", {{"n/.bzEmpty", ""}}},
                                                        {"rmdir /bucket/e", {}, "e/.bzEmpty"}};
// Printed by the first ones, or in the file "got".
const Texts kOutputs = {"a\nc\ne/\nlarge\np/\n", "new", kLarge, "ew"};

constexpr int kInterrupted = 130;

std::string ReadFile(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Program and library in a folder of their own, started in its folder "work".
class CommandLine final : public fault_matrix::Client {
 public:
  CommandLine() {
    for (const char* folder : {"bin", "lib", "work"}) fs::create_directory(home_ / folder);
    fs::copy(B2DRIVE_FILE, home_ / "bin");
    fs::copy(B2_PLUGIN_FILE, home_ / "lib" / B2_PLUGIN_SONAME);
    std::ofstream(home_ / "work/small") << "mine";
    std::ofstream(home_ / "work/large") << kLarge;
  }

  emulator::Emulator& Service() override { return emulator_; }

  bool IsPatient() const override { return true; }

  bool Perform(std::size_t operation) override {
    Text line = kCommands[operation].line;
    const std::string wanted = operation < kOutputs.size() ? kOutputs[operation] : "";
    const int code = ExitCode(line);
    const std::string out = ReadFile(home_ / "out"), err = ReadFile(home_ / "err");
    const std::string stopped = ReadFile(home_ / "stopped");
    const bool succeeded = code == 0;
    EXPECT_EQ(stopped.find("KILL"), std::string::npos) << "hangs";
    EXPECT_TRUE(code < 128 || code == kInterrupted) << code << err;
    // It may end by itself just when it is told to.
    const bool notes = err.find("an unfinished large file") != err.npos;
    EXPECT_TRUE(err.empty() == succeeded || ((!stopped.empty() || notes) && succeeded)) << err;
    const fs::path got = home_ / "work/got";
    const bool gets = line.starts_with("get");
    EXPECT_EQ(fs::exists(got), gets && succeeded);
    const std::string output = gets ? ReadFile(got) : out;
    EXPECT_TRUE(succeeded ? output == wanted : wanted.starts_with(output));
    return succeeded;
  }

 private:
  // From 128 on when a signal ended it. The file "stopped" tells the signals that it was sent.
  int ExitCode(Text line) {
    const auto seconds = [](auto time) { return std::to_string(time.count()) + " "; };
    const std::string command =
        "cd " + (home_ / "work").string() + " && timeout --verbose --preserve-status -k " +
        seconds(fault_matrix::kStop) + seconds(fault_matrix::kPatience) +
        "env -i B2_APPLICATION_KEY_ID='" + emulator_.account_id() + "' B2_APPLICATION_KEY='" +
        emulator_.key() + "' B2DRIVE_PROXY=http://127.0.0.1:" + std::to_string(emulator_.port()) +
        " /bin/sh -c 'exec ../bin/b2drive --retries 2 \"$@\" 2>../err' sh " + line +
        " </dev/null >../out 2>../stopped";
    return WEXITSTATUS(std::system(command.c_str()));
  }

  static fs::path WithFrameworks(const fs::path& folder) {
    fs::create_directory(folder / "Frameworks");
    return folder;
  }

  const Scratch scratch_;
  const fs::path home_ = WithFrameworks(scratch_.path);
  emulator::Emulator emulator_{{.ca_file = home_ / "Frameworks/cacert.pem",
                                .recommended_part_size = fault_matrix::kPart,
                                .absolute_minimum_part_size = fault_matrix::kPart}};
};

TEST(FaultMatrixTest, ACommandLosesNothingAndCanBeStopped) {
  fault_matrix::Run(kCommands, [] { return std::make_unique<CommandLine>(); });
}

}  // namespace
