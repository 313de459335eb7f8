#include "tests/support/fault_matrix.h"

#include <future>

#include "tests/mount/file_system_test.h"

namespace b2drive::mount {
namespace {

using fault_matrix::kLarge, fault_matrix::kPatience;

constexpr int kWrong = 1000;  // beside the errors

const std::vector<fault_matrix::Operation> kOperations = {
    {"list"},
    {"read"},
    {"read on"},
    {"save n mine", {{"n", "mine"}}},
    {"save large", {{"n", kLarge}}},
    {"save a mine", {{"a", "mine"}}},
    {"append a +", {{"a", "new+"}}},
    {"move a n", {{"n", "new"}}, "a"},
    {"move a c", {{"c", "new"}}, "a"},
    {"unlink a", {}, "a"},
    {"mkdir n", {{"n/.bzEmpty", ""}}},
    {"rmdir e", {}, "e/.bzEmpty"},
    {"sign in", {{"n", "mine"}}, "", "authorize"}};

class Mounted final : public FileSystemTest, public fault_matrix::Client {
 public:
  Mounted() {
    options.retries = 1;
    Remount();
  }
  emulator::Emulator& Service() override { return *service; }
  bool Perform(std::size_t operation) override {
    auto run = std::async(std::launch::async, [&] { return Run(kOperations[operation].line); });
    const auto ended = [&](auto time) { return run.wait_for(time) == std::future_status::ready; };
    if (!ended(kPatience)) files->Hurry();
    if (!ended(kPatience)) Heal();
    while (!ended(std::chrono::milliseconds(200))) service->DropConnections();
    const int error = run.get();
    EXPECT_TRUE(error >= 0 && error < kWrong) << error;
    return error == 0;
  }
  void Recover() override {
    files->Hurry();
    service->DropConnections();
    SignIn();
    Mount();
    ExpectAgreement();
  }

 private:
  int Run(Text line) {
    if (line == "list") return Lists("", {"a", "c", "large", "e/", "p/"});
    if (line == "read") return Reads("a", 0, "new");
    if (line == "read on") return Reads("large", kBlock, kLarge.substr(kBlock));
    if (line == "save large") return Write("n", kLarge);
    if (line != "sign in") return Do(line);
    EXPECT_EQ(Lists("p", {"x"}), 0);
    service->ExpireTokens();
    return Write("n", "mine");
  }
  int Lists(Text folder, const std::set<std::string>& names) {
    std::set<std::string> got;
    const int error = Try([&] { got = Names(folder); });
    return error != 0 || got == names ? error : kWrong;
  }
  int Reads(Text name, std::uint64_t from, Text text) {
    const std::string got = Read(name, from);
    if (got == text) return 0;
    return got.starts_with("errno ") ? std::stoi(got.substr(6)) : kWrong;
  }
  void TestBody() override {}
};

TEST(FaultMatrixTest, AMountLosesNothingAndComesToRest) {
  fault_matrix::Run(kOperations, [] { return std::make_unique<Mounted>(); });
}

}  // namespace
}  // namespace b2drive::mount
