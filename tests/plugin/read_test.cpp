#include <stdexcept>

#include "tests/support/drive_test.h"

namespace {

constexpr const char* kDownload = "b2_download_file_by_id";

class ReadTest : public DriveTest {
 protected:
  std::string StoreContent(const emulator::NewFile& file, const emulator::ContentPtr& content) {
    return bucket + "/" + service->store().AddFile(bucket, file, content)->Id();
  }

  static std::string Noise(std::size_t size) {
    std::string text(size, '\0');
    unsigned state = 1;
    for (char& byte : text) byte = static_cast<char>((state = state * 1103515245U + 12345U) >> 16);
    return text;
  }
};

TEST_F(ReadTest, RangesArriveInBlocksAndAreIdentical) {
  const std::string contents = Noise(2'000'000);
  const std::string file = Store(bucket, "f", contents);
  struct Row {
    long long offset, length;
    int blocks, largest;
  };
  const Row rows[] = {{0, 2'000'000, 4, 524288}, {0, 1, 1, 1},
                      {1'999'999, 1, 1, 1},      {3, 524288, 1, 524288},
                      {3, 1048576, 2, 524288},   {1'999'990, 100, 1, 10},
                      {100, 50, 1, 50}};
  for (const Row& row : rows) {
    FetchedBytes fetched;
    EXPECT_EQ(Read(file, row.offset, row.length, fetched), AERROR::SUCCESS);
    const auto offset = static_cast<std::size_t>(row.offset);
    EXPECT_TRUE(fetched.bytes == contents.substr(offset, static_cast<std::size_t>(row.length)));
    EXPECT_EQ(fetched.first_offset, row.offset);
    EXPECT_EQ(fetched.blocks, row.blocks) << row.offset;
    EXPECT_EQ(fetched.largest, row.largest) << row.offset;
  }
  const auto request = service->requests().back();
  EXPECT_EQ(request.Header("Range"), "bytes=100-149");
  EXPECT_TRUE(request.target.starts_with("/b2api/v1/b2_download_file_by_id?fileId=4_z"));
  EXPECT_EQ(request.host, "api001.backblazeb2.com");
}

TEST_F(ReadTest, OffsetsGoBeyondFourGigabytes) {
  constexpr std::uint64_t kMebibyte = 1 << 20;
  const auto content = std::make_shared<emulator::Content>();
  const auto piece = emulator::Content::Synthetic(kMebibyte);
  for (int i = 0; i < 5000; ++i) content->Append(*piece, 0, kMebibyte);
  const std::string id = StoreContent({.name = "huge"}, content);
  const std::uint64_t offset = 4096 * kMebibyte + 77;
  FetchedBytes fetched;
  EXPECT_EQ(Read(id, static_cast<long long>(offset), 100, fetched), AERROR::SUCCESS);
  EXPECT_EQ(fetched.first_offset, static_cast<long long>(offset));
  EXPECT_EQ(fetched.bytes, content->At(offset).substr(0, 100));
}

TEST_F(ReadTest, OddArgumentsFailWithoutARequest) {
  FetchedBytes fetched;
  service->ClearRequests();
  EXPECT_EQ(drive->Read(nullptr, 0, 1, NewHandle(), &fetched, nullptr), AERROR::FILE_READ_FAILED);
  EXPECT_EQ(Read("/", 0, 1, fetched), AERROR::FAILED);
  EXPECT_EQ(Read("", 0, 1, fetched), AERROR::FAILED);
  EXPECT_EQ(drive->Read("b/f", 0, 1, nullptr, nullptr, nullptr), AERROR::FAILED);
  EXPECT_TRUE(service->requests().empty());
  EXPECT_EQ(Read(bucket + "/no such\r\nfile", 0, 1, fetched), AERROR::FAILED);
  EXPECT_EQ(Read(bucket + "/f", INT64_MAX, INT64_MAX, fetched), AERROR::FAILED);
}

TEST_F(ReadTest, ErrorsDeliverNoByteOfTheirAnswer) {
  const std::string file = Store(bucket, "f", "0123456789");
  for (const int status : {400, 401, 403, 404, 416, 500, 503}) {
    service->AddFault({.call = kDownload, .status = status, .body = "error"});  // 5 bytes, too
    FetchedBytes fetched;
    EXPECT_EQ(Read(file, 0, 5, fetched), AERROR::FAILED) << status;
    EXPECT_EQ(fetched.blocks, 0) << status;
  }
  Fail(kDownload, 429);  // answered with a body, then repeated
  EXPECT_EQ(ReadAll(file, 10), "0123456789");
  FetchedBytes cut;
  EXPECT_EQ(Read(file, 10, 5, cut), AERROR::FAILED);
  service->AddFault({.call = kDownload, .cut_after = 3});
  EXPECT_EQ(Read(file, 0, 10, cut), AERROR::FAILED);
}

TEST_F(ReadTest, StrictlyOnlyTheRangeAskedForIsDelivered) {
  const std::string file = Store(bucket, "f", "0123456789");
  struct Row {
    long long offset, length;
    int status;  // of a cache on the way, which knows nothing of ranges; 0: the service's own
    std::string body;
    bool right;
  };
  const Row rows[] = {
      {0, 10, 0, "0123456789", true},   {3, 4, 0, "3456", true},
      {0, 10, 200, "0123456789", true}, {3, 4, 200, "0123456789", false},
      {0, 4, 200, "012", false},        {3, 4, 206, "3456", false},  // of what range?
      {0, 4, 204, "", false},           {8, 4, 0, "89", false},
  };
  for (const bool strict : {false, true}) {
    SetOpt("strict_answers", strict ? "TRUE" : "no");
    for (const Row& row : rows) {
      if (row.status != 0) {
        service->AddFault({.call = kDownload, .status = row.status, .body = row.body});
      }
      const bool refused = strict && !row.right;
      log.Take();
      FetchedBytes fetched;
      EXPECT_EQ(Read(file, row.offset, row.length, fetched),
                refused ? AERROR::FAILED : AERROR::SUCCESS)
          << strict << row.offset << row.status << row.body;
      EXPECT_EQ(log.Contains("8 [PROTOCOL  ] Read >> "), refused);
      EXPECT_EQ(fetched.bytes, refused ? "" : row.body) << row.status;
    }
  }
}

TEST_F(ReadTest, StoredEncodingIsNotUndone) {
  emulator::NewFile file{.name = "f.gz", .info = {{"b2-content-encoding", "gzip"}}};
  EXPECT_EQ(ReadAll(StoreContent(file, emulator::Content::FromText("no gzip")), 7), "no gzip");
  EXPECT_EQ(service->requests().back().Header("Accept-Encoding"), "");
  List("");
  EXPECT_NE(service->requests().back().Header("Accept-Encoding"), "");
}

TEST_F(ReadTest, WhatAHostMakesOfTheBytesIsItsOwnBusiness) {
  const std::string file = Store(bucket, "f", std::string(1'500'000, 'x'));
  for (const int answer : {1, -1, 300000}) {
    FetchedBytes fetched;
    fetched.answer = static_cast<AERROR>(answer);
    EXPECT_EQ(Read(file, 0, 1'500'000, fetched), AERROR::SUCCESS);
    EXPECT_EQ(fetched.bytes.size(), 1'500'000U);
  }
}

TEST_F(ReadTest, CancellationEndsItAlsoAtAnErrorAndBeforeItBegins) {
  const std::string file = Store(bucket, "f", "text");
  for (const int status : {404, 429}) {
    for (const std::string body : {"", "{}"}) {
      const auto handle = NewHandle();
      service->AddFault({.call = kDownload, .times = -1, .status = status, .body = body});
      service->OnRequest([&](const auto&) { handle->transfer->state = TRANSFER_CANCELED; });
      service->ClearRequests();
      for (int times = 0; times < 2; ++times) {
        FetchedBytes fetched;
        EXPECT_EQ(drive->Read(file.c_str(), 0, 4, handle, &fetched, nullptr),
                  AERROR::READ_CANCELED);
      }
      EXPECT_EQ(service->Count(kDownload), 1U);
      service->ClearFaults();
    }
  }
  service->OnRequest({});
}

TEST_F(ReadTest, CancellationEndsItWithinOneBlock) {
  const std::string file = Store(bucket, "f", std::string(8'000'000, 'x'));
  const auto handle = NewHandle();
  const auto canceled = [&](const std::function<void()>& on_block) {
    FetchedBytes fetched;
    fetched.on_block = on_block;
    handle->transfer->state = 0;
    EXPECT_EQ(drive->Read(file.c_str(), 0, 8'000'000, handle, &fetched, nullptr),
              AERROR::READ_CANCELED);
    return fetched.blocks;
  };
  for (const int state : {int{TRANSFER_CANCELED}, int{TRANSFER_FAILED}, 9}) {
    EXPECT_EQ(canceled([&] { handle->transfer->state = state; }), 1) << state;
  }
  const auto broken = [] { throw std::runtime_error("disk"); };
  EXPECT_EQ(canceled(broken), 0);
  FetchedBytes at_the_end;
  at_the_end.on_block = broken;
  EXPECT_EQ(Read(file, 7'999'990, 100, at_the_end), AERROR::FAILED);
}

}  // namespace
