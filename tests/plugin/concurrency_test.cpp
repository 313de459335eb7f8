#include <thread>

#include "tests/support/drive_test.h"

namespace {

class ConcurrencyTest : public DriveTest {};

}  // namespace

TEST_F(ConcurrencyTest, EightThreadsShareOneDrive) {
  const std::string bucket = NewBucket();
  std::vector<std::string> files;
  for (int i = 0; i < 8; ++i) {
    files.push_back(
        Store(bucket, "f" + std::to_string(i), std::string(700'000, static_cast<char>('a' + i))));
  }
  SetOpt("verbose", "on");
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, i] {
      const auto at = static_cast<std::size_t>(i);
      for (int round = 0; round < 5; ++round) {
        EXPECT_GE(List(bucket).size(), 8U);
        EXPECT_EQ(ReadAll(files[at], 700'000), std::string(700'000, static_cast<char>('a' + i)));
        _FS_FILE_V2 record;
        EXPECT_EQ(drive->GetFileInfo(files[at].c_str(), &record, nullptr), AERROR::SUCCESS);
        EXPECT_EQ(record.size, 700'000U);
        EXPECT_EQ(Upload(bucket, "new" + std::to_string(i), "contents"), AERROR::SUCCESS);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(List(bucket).size(), 16U);
}
