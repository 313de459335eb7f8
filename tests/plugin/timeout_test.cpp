#include <functional>
#include <thread>

#include "emulator/inspection.h"
#include "tests/support/drive_test.h"

// Transfers that stall: ended after 20 seconds below 1 byte/s, a part of a large file after 60. The
// cases wait side by side.

namespace {

constexpr int kPart = 1000;  // bytes

class TimeoutTest : public DriveTest {
 protected:
  TimeoutTest() : DriveTest(SmallParts()) {}

  static emulator::Options SmallParts() {
    emulator::Options options;
    options.recommended_part_size = kPart;
    options.absolute_minimum_part_size = 100;
    return options;
  }

  void Stall(const std::string& call, int skip = 0) {
    service->AddFault({.call = call, .skip = skip, .stall = true});
  }

  std::string bucket = NewBucket();
};

}  // namespace

TEST_F(TimeoutTest, StalledCallsTimeOutAndLargeUploadsGoOn) {
  const std::string file = Store(bucket, "f", "0123456789");
  const std::string large(3 * kPart, 'x');
  for (const char* call : {"b2_list_file_names", "b2_get_file_info", "b2_download_file_by_id",
                           "b2_upload_file", "b2_list_buckets"}) {
    Stall(call);
  }
  Stall("b2_upload_part", 1);
  FetchedBytes fetched;
  FileList list;
  _FS_FILE_V2 record;
  const std::vector<std::pair<std::function<AERROR()>, AERROR>> calls = {
      {[&] { return drive->GetFileList(bucket.c_str(), &list, nullptr); }, AERROR::TIMEDOUT},
      {[&] { return drive->GetFileList("", &list, nullptr); }, AERROR::TIMEDOUT},
      {[&] { return drive->GetFileInfo(file.c_str(), &record, nullptr); }, AERROR::TIMEDOUT},
      {[&] { return Read(file, 0, 10, fetched); }, AERROR::TIMEDOUT},
      {[&] { return Upload(bucket, "small", "1"); }, AERROR::TIMEDOUT},
      {[&] { return Upload(bucket, "large", large); }, AERROR::SUCCESS},
  };
  std::vector<std::thread> threads;
  for (const auto& [call, expected] : calls) {
    threads.emplace_back([&call = call, expected = expected] { EXPECT_EQ(call(), expected); });
  }
  for (std::thread& thread : threads) thread.join();

  std::string parts;
  for (const auto& request : service->requests()) {
    if (request.call == "b2_upload_part") parts += request.Header("X-Bz-Part-Number");
  }
  EXPECT_EQ(parts, "1223");  // the stalled part again, none that had been sent
  EXPECT_EQ(service->Count("b2_start_large_file"), 1U);
  EXPECT_EQ(emulator::ReadText(service->store(), "bucket-one", "large"), large);

  Stall("b2_finish_large_file");
  EXPECT_EQ(Upload(bucket, "unfinished", large), AERROR::TIMEDOUT);
  EXPECT_EQ(service->store().UnfinishedCount(), 1U);
}
