#include <algorithm>
#include <nlohmann/json.hpp>
#include <thread>

#include "emulator/inspection.h"
#include "tests/support/drive_test.h"

namespace {

constexpr int kPart = 1000;  // bytes

class LargeUploadTest : public DriveTest {
 protected:
  LargeUploadTest() : DriveTest(SmallParts()) {}

  static emulator::Options SmallParts() {
    emulator::Options options;
    options.recommended_part_size = kPart;
    options.absolute_minimum_part_size = 100;
    return options;
  }

  static std::string Contents(int size) {
    std::string text;
    for (int i = 0; i < size; ++i) text += static_cast<char>('a' + i * 7 / 5 % 26);
    return text;
  }

  // Part numbers that were sent, in order, failed ones included.
  std::vector<std::string> PartsSent() {
    std::vector<std::string> numbers;
    for (const auto& request : service->requests()) {
      if (request.call == "b2_upload_part") numbers.push_back(request.Header("X-Bz-Part-Number"));
    }
    return numbers;
  }

  std::size_t Visible() { return emulator::VisibleNames(service->store(), "bucket-one").size(); }

  std::string bucket = NewBucket();
};

using Parts = std::vector<std::string>;

}  // namespace

TEST_F(LargeUploadTest, SizesAroundThePartSize) {
  struct Row {
    int size;
    std::size_t parts;
  };
  for (const Row& row : {Row{0, 0},
                         {1, 0},
                         {kPart - 1, 0},
                         {kPart + 1, 2},
                         {2 * kPart, 2},
                         {2 * kPart + 1, 3},
                         {3 * kPart - 1, 3}}) {
    service->ClearRequests();
    const std::string contents = Contents(row.size);
    const std::string name = "dir/f" + std::to_string(row.size);
    MemoryCache cache(contents);
    _FS_FILE_V2 file = NewFile(name, contents.size());
    EXPECT_EQ(drive->Upload(bucket.c_str(), NewHandle(), &cache, &file, UPLOAD_DEFAULT, nullptr),
              AERROR::SUCCESS);
    EXPECT_EQ(emulator::ReadText(service->store(), "bucket-one", name), contents);
    EXPECT_EQ(PartsSent().size(), row.parts) << row.size;
    EXPECT_EQ(file.size, contents.size());
    EXPECT_EQ(ReadAll(file.id, contents.size()), contents);
  }
  EXPECT_EQ(service->store().UnfinishedCount(), 0U);
}

TEST_F(LargeUploadTest, OnePartIsRefusedByTheServiceAtFinish) {
  EXPECT_EQ(Upload(bucket, "f", Contents(kPart)), AERROR::FAILED);
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] UploadLargeFile >> HTTP 400"));
  EXPECT_EQ(Visible(), 0U);
  EXPECT_EQ(service->store().UnfinishedCount(), 1U);
}

TEST_F(LargeUploadTest, RequestsCarryWhatTheServiceNeeds) {
  EXPECT_EQ(Upload(bucket + "/dir", "f.mp4", Contents(2500)), AERROR::SUCCESS);
  std::string shown;
  for (const auto& request : service->requests()) {
    const std::string& call = request.call;
    if (call == "b2_start_large_file") {
      EXPECT_EQ(nlohmann::json::parse(request.body), (nlohmann::json{{"bucketId", bucket},
                                                                     {"contentType", "video/mp4"},
                                                                     {"fileName", "dir/f.mp4"}}));
    }
    if (call == "b2_upload_part") {
      shown += request.Header("X-Bz-Part-Number") + ":" + request.Header("Content-Length") + " ";
      EXPECT_EQ(request.Header("X-Bz-Content-Sha1"), "do_not_verify");
    }
    if (call == "b2_finish_large_file") {
      const auto sha1s = nlohmann::json::parse(request.body)["partSha1Array"];
      ASSERT_EQ(sha1s.size(), 3U);
      EXPECT_EQ(sha1s[0].get<std::string>().size(), 40U);  // without "unverified:"
    }
  }
  EXPECT_EQ(shown, "1:1000 2:1000 3:500 ");
}

TEST_F(LargeUploadTest, StatusesEndOrStartOver) {
  const Parts once{"1", "2", "3"};
  struct Row {
    const char* call;
    int status, skip;
    AERROR result;
    Parts parts;
    std::size_t left;  // unfinished large files: those given up stay on the service
  };
  const Row rows[] = {
      {"b2_start_large_file", 500, 0, AERROR::FAILED, {}, 0},
      {"b2_start_large_file", 429, 0, AERROR::SUCCESS, once, 0},
      {"b2_get_upload_part_url", 503, 0, AERROR::FAILED, {}, 1},
      {"b2_upload_part", 401, 0, AERROR::SUCCESS, {"1", "1", "2", "3"}, 1},
      {"b2_upload_part", 408, 1, AERROR::SUCCESS, {"1", "2", "1", "2", "3"}, 1},
      {"b2_upload_part", 500, 2, AERROR::SUCCESS, {"1", "2", "3", "1", "2", "3"}, 1},
      {"b2_upload_part", 429, 1, AERROR::SUCCESS, {"1", "2", "2", "3"}, 0},
      {"b2_upload_part", 503, 0, AERROR::FAILED, {"1"}, 1},
      {"b2_upload_part", 503, 2, AERROR::FAILED, once, 1},
      {"b2_finish_large_file", 401, 0, AERROR::SUCCESS, {"1", "2", "3", "1", "2", "3"}, 1},
      {"b2_finish_large_file", 500, 0, AERROR::SUCCESS, {"1", "2", "3", "1", "2", "3"}, 1},
      {"b2_finish_large_file", 429, 0, AERROR::SUCCESS, once, 0},
      {"b2_finish_large_file", 503, 0, AERROR::FAILED, once, 1},
  };
  std::size_t unfinished = 0;
  std::size_t visible = 0;
  for (const Row& row : rows) {
    service->ClearRequests();
    Fail(row.call, row.status, 1, row.skip);
    const std::string name = row.call + std::to_string(row.status) + std::to_string(row.skip);
    EXPECT_EQ(Upload(bucket, name, Contents(2500)), row.result) << name;
    EXPECT_EQ(PartsSent(), row.parts) << name;
    unfinished += row.left;
    visible += row.result == AERROR::SUCCESS ? 1 : 0;
    EXPECT_EQ(service->store().UnfinishedCount(), unfinished) << name;
    EXPECT_EQ(Visible(), visible) << name;
    EXPECT_EQ(service->Count("b2_cancel_large_file"), 0U);
    if (row.result == AERROR::SUCCESS) {
      EXPECT_EQ(emulator::ReadText(service->store(), "bucket-one", name), Contents(2500));
    }
  }
}

TEST_F(LargeUploadTest, NothingIsCancelledWithoutALargeFile) {
  Fail("b2_start_large_file", 503);
  service->ClearRequests();
  EXPECT_EQ(Upload(bucket, "f", Contents(2500)), AERROR::FAILED);
  EXPECT_EQ(service->Count("b2_get_upload_part_url"), 0U);
}

TEST_F(LargeUploadTest, CutConnectionsFail) {
  // Twice, for libcurl repeats once what dies on a connection that it had used before.
  for (const int skip : {0, 1, 2}) {
    service->AddFault(
        {.call = "b2_upload_part", .skip = skip, .times = 2, .cut_request_after = 10});
    EXPECT_EQ(Upload(bucket, "f", Contents(2500)), AERROR::FAILED) << skip;
    service->ClearFaults();
  }
  service->AddFault({.call = "b2_finish_large_file", .times = 2, .cut_after = 1});
  EXPECT_EQ(Upload(bucket, "f", Contents(2500)), AERROR::FAILED);
}

TEST_F(LargeUploadTest, CancellationInAnyPartIsCanceled) {
  for (const long long at : {0LL, 1000LL, 2000LL}) {
    MemoryCache cache(Contents(2500));
    const auto handle = NewHandle();
    cache.on_read = [&](long long offset) {
      if (offset == at) std::thread([&] { handle->transfer->state = TRANSFER_CANCELED; }).join();
    };
    _FS_FILE_V2 file = NewFile("f", 2500);
    EXPECT_EQ(drive->Upload(bucket.c_str(), handle, &cache, &file, UPLOAD_DEFAULT, nullptr),
              AERROR::UPLOAD_CANCELED)
        << at;
  }
  EXPECT_EQ(Visible(), 0U);
}

TEST_F(LargeUploadTest, ProgressCountsTheWholeFile) {
  std::vector<long long> seen;
  const auto handle = NewHandle();
  handle->progress = [](long long total, long long now, void* context, double) {
    EXPECT_EQ(total, 2500);
    static_cast<std::vector<long long>*>(context)->push_back(now);
  };
  handle->progress_context = &seen;
  MemoryCache cache(Contents(2500));
  _FS_FILE_V2 file = NewFile("f", 2500);
  EXPECT_EQ(drive->Upload(bucket.c_str(), handle, &cache, &file, UPLOAD_DEFAULT, nullptr),
            AERROR::SUCCESS);
  EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
  EXPECT_EQ(seen.back(), 2500);
}
