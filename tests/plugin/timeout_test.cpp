#include <thread>

#include "tests/support/drive_test.h"

// Transfers that stall: ended after 20 seconds below 1 byte/s or the limit that was set, a part of
// a large file after 60. The rows wait side by side.

namespace {

constexpr int kPart = 1000;  // bytes

class TimeoutTest : public DriveTest {
 protected:
  TimeoutTest() : DriveTest(kPart) {}

  AERROR GetList(Text id) { return drive->GetFileList(id.c_str(), &list_, nullptr); }
  AERROR GetInfo() { return drive->GetFileInfo(file_.c_str(), &record_, nullptr); }
  AERROR UploadLarge(const char* name) { return Upload(bucket, name, large_); }

  const std::string large_ = std::string(3 * kPart, 'x');
  const std::string file_ = Store("f", "0123456789");
  FetchedBytes fetched_;
  FileList list_;
  _FS_FILE_V2 record_;
  struct Row {
    const char* call;
    std::function<AERROR()> act;
    AERROR expected;
    int skip = 0;
  };
  const Row rows_[11] = {
      {"b2_list_file_names", [&] { return GetList(bucket); }, TIMEDOUT},
      {"b2_list_buckets", [&] { return GetList(""); }, TIMEDOUT},
      {"b2_get_file_info", [&] { return GetInfo(); }, TIMEDOUT},
      {"b2_download_file_by_id", [&] { return Read(file_, 0, 10, fetched_); }, TIMEDOUT},
      {"b2_get_upload_url", [&] { return Upload(bucket, "no URL", "1"); }, FAILED},
      {"b2_upload_file", [&] { return Upload(bucket, "small", "1"); }, TIMEDOUT},
      {"b2_start_large_file", [&] { return UploadLarge("no start"); }, FAILED},
      {"b2_get_upload_part_url", [&] { return UploadLarge("no part URL"); }, FAILED},
      {"b2_upload_part", [&] { return UploadLarge("no first part"); }, TIMEDOUT},
      {"b2_finish_large_file", [&] { return UploadLarge("no finish"); }, TIMEDOUT},
      {"b2_upload_part", [&] { return UploadLarge("goes on"); }, SUCCESS, 1}};
};

TEST_F(TimeoutTest, StalledCallsTimeOutAndLargeUploadsGoOn) {
  // Moves all the time, but never as much as is asked of it.
  const std::string big = Store("big", std::string(5'000'000, 'x'));
  const ProtocolPtr slow(plugin.NewProtocol());
  ASSERT_EQ(ConnectTo(*service, slow), SUCCESS);
  slow->SetOpt("speedlimit", "100000");
  slow->SetOpt("LOW_SPEED_LIMIT", "10000000");
  std::vector<std::thread> threads;
  threads.emplace_back([&] {
    FetchedBytes some;
    EXPECT_EQ(slow->Read(big.c_str(), 0, 5'000'000, NewHandle(), &some, nullptr), TIMEDOUT);
  });
  while (service->Count("b2_download_file_by_id") == 0) std::this_thread::yield();
  for (const Row& row : rows_) {
    const std::size_t last = service->Count(row.call) + static_cast<std::size_t>(row.skip);
    service->AddFault({.call = row.call, .skip = row.skip, .stall = true});
    threads.emplace_back([&row] { EXPECT_EQ(row.act(), row.expected) << row.call << row.skip; });
    // Until a request has run into the fault, so that no other row can.
    while (service->Count(row.call) <= last) std::this_thread::yield();
  }
  for (std::thread& thread : threads) thread.join();

  std::string parts;
  for (const auto& request : service->requests()) {
    if (request.call == "b2_upload_part") parts += request.Header("X-Bz-Part-Number");
  }
  // One, then all three, then two; last the stalled second one again and the third.
  EXPECT_EQ(parts, "11231223");
  EXPECT_EQ(service->Count("b2_start_large_file"), 5U);
  EXPECT_EQ(Stored(), (Texts{"big", "f", "goes on"}));
  EXPECT_EQ(Versions("goes on"), Texts{large_});
  EXPECT_EQ(store().UnfinishedCount(), 3U);
}

}  // namespace
