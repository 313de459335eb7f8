#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <thread>

#include "client.h"

namespace emulator {
namespace {

// The program b2emulator, both its outputs in one pipe.
class Program {
 public:
  explicit Program(const std::string& arguments)
      : output_(popen(("echo $$; exec " B2EMULATOR " " + arguments + " 2>&1").c_str(), "r")),
        pid_(std::stoi(Line())) {}

  std::string Line() {
    std::string line;
    for (int c = 0; (c = std::fgetc(output_)) != EOF && c != '\n';) line += static_cast<char>(c);
    return line;
  }

  void Signal(int signal) { kill(pid_, signal); }

  int ExitCode() {
    const int status = pclose(output_);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  FILE* output_;
  pid_t pid_;
};

TEST(ProgramTest, StopsOnSignalsAndTakesItsCaAlong) {
  for (const int signal : {SIGTERM, SIGINT}) {
    Program program("--seed photos/a/one.jpg:1:3K");
    const std::string ca_file = json::parse(program.Line())["caFile"];
    EXPECT_TRUE(std::filesystem::exists(ca_file));
    program.Signal(signal);
    EXPECT_EQ(program.ExitCode(), 0);
    EXPECT_FALSE(std::filesystem::exists(ca_file));
  }
}

TEST(ProgramTest, StopsWhileItSeeds) {
  std::string pattern = (std::filesystem::temp_directory_path() / "seeding-XXXXXX").string();
  const std::filesystem::path folder = mkdtemp(pattern.data());
  for (const char* const seed : {"photos/big:1:9000G", "photos/many:9000000000:0"}) {
    const std::filesystem::path ca_file = folder / "ca.pem";
    Program program("--ca-file " + ca_file.string() + " --seed " + seed);
    while (!std::filesystem::exists(ca_file)) std::this_thread::yield();
    program.Signal(SIGTERM);
    EXPECT_EQ(program.Line(), "") << seed;
    EXPECT_EQ(program.ExitCode(), 0) << seed;
    std::filesystem::remove(ca_file);
  }
  std::filesystem::remove(folder);
}

TEST(ProgramTest, SaysInOneLineWhatIsWrong) {
  const std::pair<const char*, int> rows[] = {
      {"--seed photos", 2}, {"--seed photos/a:1:3T", 2},      {"--seed photos/:1:3", 2},
      {"--port many", 2},   {"--no-such-option", 2},          {"--ca-key-file x", 2},
      {"--bucket tiny", 1}, {"--ca-file /nowhere/ca.pem", 1},
  };
  for (const auto& [arguments, code] : rows) {
    Program program(arguments);
    EXPECT_TRUE(program.Line().starts_with("b2emulator: ")) << arguments;
    EXPECT_EQ(program.Line(), "") << arguments;
    EXPECT_EQ(program.ExitCode(), code) << arguments;
  }
}

TEST(SeedTest, NamesFilesAndFolders) {
  Store store({});
  Plant(store, ParseSeed("photos/a/one.jpg:1:3K"));
  Plant(store, ParseSeed("photos/n:3:0:2"));
  EXPECT_EQ(
      VisibleNames(store, "photos"),
      (std::vector<std::string>{"a/one.jpg", "n0000/0000000", "n0000/0000002", "n0001/0000001"}));
  EXPECT_EQ(ReadText(store, "photos", "a/one.jpg").size(), 3072U);
}

}  // namespace
}  // namespace emulator
