#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "toolkit/toolkit.h"

TEST(ProcessTest, CommandsReportOutputAndStatus) {
  EXPECT_EQ(run_command("exit 3").status, 3);
  EXPECT_EQ(run_command("kill -9 $$").status, 137);
  EXPECT_EQ(run_command("head -c 100000 /dev/zero").output, std::string(100000, '\0'));
}

TEST(ProcessTest, UuidsAreRandomOfVersionFour) {
  EXPECT_THAT(new_uuid(), testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-"
                                                "[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
  EXPECT_NE(new_uuid(), new_uuid());
}

TEST(ProcessTest, AProcessLivesUntilItIsWaitedFor) {
  EXPECT_TRUE(is_process_alive(1));
  EXPECT_FALSE(is_process_alive(-1));
  const pid_t child = fork();
  if (child == 0) _exit(0);
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_FALSE(is_process_alive(child));
}

TEST(IniFileTest, ReadsSectionsOrNothing) {
  const std::string path = testing::TempDir() + std::to_string(getpid()) + ".ini";
  const auto read = [&](const std::string& text) {
    run_command("printf '" + text + "' > " + path);
    return read_ini_file(path);
  };
  EXPECT_EQ(read("top = 1\\r\\n; c=1\\n#\\n\\n [ one ] \\n k = a = b \\nk==2\\n[two]"),
            (ini_sections{{"", {{"top", "1"}}}, {"one", {{"k", "=2"}}}, {"two", {}}}));
  EXPECT_EQ(read("[one\\n"), std::nullopt);
  EXPECT_EQ(read("ok=1\\nno equals sign\\n"), std::nullopt);
  unlink(path.c_str());
  EXPECT_EQ(read_ini_file(path), std::nullopt);
  EXPECT_EQ(read_ini_file(testing::TempDir()), std::nullopt);
}
