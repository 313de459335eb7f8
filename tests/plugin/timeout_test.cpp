#include <functional>
#include <thread>

#include "tests/support/drive_test.h"

// Transfers that stall: ended after 20 seconds below 1 byte/s or the limit that was set, a part of
// a large file after 60. The rows wait side by side.

namespace {

constexpr int kPart = 1000;  // bytes

class TimeoutTest : public DriveTest {
 protected:
  TimeoutTest() : DriveTest(kPart) {}
};

}  // namespace

TEST_F(TimeoutTest, StalledCallsTimeOutAndLargeUploadsGoOn) {
  const std::string file = Store(bucket, "f", "0123456789");
  const std::string large(3 * kPart, 'x');
  const auto upload_large = [&](const char* name) { return Upload(bucket, name, large); };
  // Moves all the time, but never as much as is asked of it.
  const std::string big = Store(bucket, "big", std::string(5'000'000, 'x'));
  const ProtocolPtr slow(plugin.NewProtocol());
  const std::string form = AccountForm(service->account_id(), service->key());
  ASSERT_EQ(slow->Connect(nullptr, form.c_str()), AERROR::SUCCESS);
  slow->SetOpt("speedlimit", "100000");
  slow->SetOpt("LOW_SPEED_LIMIT", "10000000");
  std::thread slow_read([&] {
    FetchedBytes some;
    EXPECT_EQ(slow->Read(big.c_str(), 0, 5'000'000, NewHandle(), &some, nullptr), AERROR::TIMEDOUT);
  });
  while (service->Count("b2_download_file_by_id") == 0) std::this_thread::yield();
  FetchedBytes fetched;
  FileList list;
  _FS_FILE_V2 record;
  const auto get_list = [&](const std::string& id) {
    return drive->GetFileList(id.c_str(), &list, nullptr);
  };
  struct Row {
    const char* call;
    std::function<AERROR()> act;
    AERROR expected;
    int skip = 0;
  };
  const Row rows[] = {
      {"b2_list_file_names", [&] { return get_list(bucket); }, AERROR::TIMEDOUT},
      {"b2_list_buckets", [&] { return get_list(""); }, AERROR::TIMEDOUT},
      {"b2_get_file_info", [&] { return drive->GetFileInfo(file.c_str(), &record, nullptr); },
       AERROR::TIMEDOUT},
      {"b2_download_file_by_id", [&] { return Read(file, 0, 10, fetched); }, AERROR::TIMEDOUT},
      {"b2_get_upload_url", [&] { return Upload(bucket, "no URL", "1"); }, AERROR::FAILED},
      {"b2_upload_file", [&] { return Upload(bucket, "small", "1"); }, AERROR::TIMEDOUT},
      {"b2_start_large_file", [&] { return upload_large("no start"); }, AERROR::FAILED},
      {"b2_get_upload_part_url", [&] { return upload_large("no part URL"); }, AERROR::FAILED},
      {"b2_upload_part", [&] { return upload_large("no first part"); }, AERROR::TIMEDOUT},
      {"b2_finish_large_file", [&] { return upload_large("no finish"); }, AERROR::TIMEDOUT},
      {"b2_upload_part", [&] { return upload_large("goes on"); }, AERROR::SUCCESS, 1},
  };
  std::vector<std::thread> threads;
  for (const Row& row : rows) {
    const std::size_t last = service->Count(row.call) + static_cast<std::size_t>(row.skip);
    service->AddFault({.call = row.call, .skip = row.skip, .stall = true});
    threads.emplace_back([&row] { EXPECT_EQ(row.act(), row.expected) << row.call << row.skip; });
    // Until a request has run into the fault, so that no other row can.
    while (service->Count(row.call) <= last) std::this_thread::yield();
  }
  for (std::thread& thread : threads) thread.join();
  slow_read.join();

  std::string parts;
  for (const auto& request : service->requests()) {
    if (request.call == "b2_upload_part") parts += request.Header("X-Bz-Part-Number");
  }
  // One, then all three, then two; last the stalled second one again and the third.
  EXPECT_EQ(parts, "11231223");
  EXPECT_EQ(service->Count("b2_start_large_file"), 5U);
  EXPECT_EQ(Stored(), (std::vector<std::string>{"big", "f", "goes on"}));
  EXPECT_EQ(Text("goes on"), large);
  EXPECT_EQ(service->store().UnfinishedCount(), 3U);
}
