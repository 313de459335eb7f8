#include <thread>

#include "tests/support/drive_test.h"

namespace {

using ConcurrencyTest = DriveTest;

}  // namespace

TEST_F(ConcurrencyTest, EightThreadsShareOneDrive) {
  const auto contents = [](int i) { return std::string(700'000, static_cast<char>('a' + i)); };
  std::vector<std::string> files;
  for (int i = 0; i < 8; ++i) files.push_back(Store(bucket, "f" + std::to_string(i), contents(i)));
  SetOpt("verbose", "on");
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, i] {
      const std::string& file = files[static_cast<std::size_t>(i)];
      for (int round = 0; round < 5; ++round) {
        EXPECT_GE(List(bucket).size(), 8U);
        EXPECT_EQ(ReadAll(file, 700'000), contents(i));
        _FS_FILE_V2 record;
        EXPECT_EQ(drive->GetFileInfo(file.c_str(), &record, nullptr), AERROR::SUCCESS);
        EXPECT_EQ(record.size, 700'000U);
        EXPECT_EQ(Upload(bucket, "new" + std::to_string(i), "contents"), AERROR::SUCCESS);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(List(bucket).size(), 16U);
}
