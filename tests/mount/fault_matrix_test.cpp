#include "tests/support/fault_matrix.h"

#include <future>

#include "tests/mount/file_system_test.h"

namespace b2drive::mount {
namespace {

using fault_matrix::kLarge, fault_matrix::kPatience;
using Text = const std::string&;

constexpr int kWrong = 1000;  // beside the errors

class Mounted final : public FileSystemTest, public fault_matrix::Client {
 public:
  Mounted() {
    options.retries = 1;
    Remount();
  }
  emulator::Emulator& Service() override { return *service; }
  bool Perform(std::size_t operation) override;
  void Recover() override {
    files->Hurry();
    service->DropConnections();
    SignIn();
    Mount();
    ExpectAgreement();
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
  int WritesWithAnEndedToken(Text name, Text text) {
    EXPECT_EQ(Lists("p", {"x"}), 0);
    service->ExpireTokens();
    return Write(name, text);
  }

 private:
  void TestBody() override {}
};

struct Program {
  fault_matrix::Operation operation;
  std::function<int(Mounted&)> run;
};

const std::vector<Program> kPrograms = {
    {{"list"},
     [](auto& m) {
       return m.Lists("", {"a", "c", "large", "e/", "p/"});
     }},
    {{"read"}, [](auto& m) { return m.Reads("a", 0, "new"); }},
    {{"read on"}, [](auto& m) { return m.Reads("large", kBlock, kLarge.substr(kBlock)); }},
    {{"write", {{"n", "mine"}}}, [](auto& m) { return m.Write("n", "mine"); }},
    {{"write large", {{"n", kLarge}}}, [](auto& m) { return m.Write("n", kLarge); }},
    {{"overwrite", {{"a", "mine"}}}, [](auto& m) { return m.Write("a", "mine"); }},
    {{"append", {{"a", "new+"}}}, [](auto& m) { return m.Append("a", "+"); }},
    {{"rename", {{"n", "new"}}, "a"}, [](auto& m) { return m.Rename("a", "n"); }},
    {{"replace", {{"c", "new"}}, "a"}, [](auto& m) { return m.Rename("a", "c"); }},
    {{"unlink", {}, "a"}, [](auto& m) { return m.Unlink("a"); }},
    {{"mkdir", {{"n/.bzEmpty", ""}}}, [](auto& m) { return m.MakeFolder("n"); }},
    {{"rmdir", {}, "e/.bzEmpty"}, [](auto& m) { return m.RemoveFolder("e"); }},
    {{"sign in", {{"n", "mine"}}, "", "authorize"},
     [](auto& m) { return m.WritesWithAnEndedToken("n", "mine"); }}};

bool Mounted::Perform(std::size_t operation) {
  auto run = std::async(std::launch::async, [&] { return kPrograms[operation].run(*this); });
  const auto ended = [&](auto time) { return run.wait_for(time) == std::future_status::ready; };
  if (!ended(kPatience)) files->Hurry();
  if (!ended(kPatience)) Heal();
  while (!ended(std::chrono::milliseconds(200))) service->DropConnections();
  const int error = run.get();
  EXPECT_TRUE(error >= 0 && error < kWrong) << error;
  return error == 0;
}

TEST(FaultMatrixTest, AMountLosesNothingAndComesToRest) {
  std::vector<fault_matrix::Operation> operations;
  for (const Program& program : kPrograms) operations.push_back(program.operation);
  fault_matrix::Run(operations, [] { return std::make_unique<Mounted>(); });
}

}  // namespace
}  // namespace b2drive::mount
