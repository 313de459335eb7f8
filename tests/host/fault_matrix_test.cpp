#include "tests/support/fault_matrix.h"

#include "tests/host/b2drive_fixture.h"

namespace {

using fault_matrix::kLarge;

constexpr int kInterrupted = 130;

struct Command {
  fault_matrix::Operation operation;
  Arguments arguments;
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

class CommandLine final : public B2DriveTest, public fault_matrix::Client {
 public:
  CommandLine() {
    WriteFile(Work("small"), "mine");
    WriteFile(Work("large"), kLarge);
  }
  emulator::Emulator& Service() override { return emulator_; }
  bool Perform(std::size_t operation) override {
    const Command& command = kCommands[operation];
    RunningProgram program(run_, command.arguments);
    const bool stopped = !program.EndsWithin(fault_matrix::kPatience);
    if (stopped) program.Signal(SIGTERM);
    const bool hangs = !program.EndsWithin(fault_matrix::kStop);
    if (hangs) program.Signal(SIGKILL);
    const ProgramResult result = program.Wait();
    const bool succeeded = result.exit_code == 0;
    EXPECT_TRUE(succeeded || (stopped ? result.exit_code == kInterrupted : result.exit_code > 0))
        << result.exit_code << (hangs ? " after a kill: " : ": ") << result.err;
    EXPECT_EQ(result.err.empty(), succeeded) << result.err;
    const bool gets = command.arguments[0] == "get";
    EXPECT_EQ(fs::exists(Work("got")), gets && succeeded);
    const std::string output = gets ? ReadFile(Work("got")) : result.out;
    EXPECT_TRUE(succeeded ? output == command.output : command.output.starts_with(output));
    return succeeded;
  }

 private:
  void TestBody() override {}
};

TEST(FaultMatrixTest, ACommandLosesNothingAndCanBeStopped) {
  std::vector<fault_matrix::Operation> operations;
  for (const Command& command : kCommands) operations.push_back(command.operation);
  fault_matrix::Run(operations, [] { return std::make_unique<CommandLine>(); });
}

}  // namespace
