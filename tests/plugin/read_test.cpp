#include <thread>

#include "tests/support/drive_test.h"

namespace {

constexpr const char* kDownload = "b2_download_file_by_id";

class ReadTest : public DriveTest {
 protected:
  std::string StoreContent(const emulator::NewFile& file, const emulator::ContentPtr& content) {
    return bucket + "/" + store().AddFile(bucket, file, content)->Id();
  }
};

TEST_F(ReadTest, RangesArriveInBlocksAndAreIdentical) {
  std::string contents;  // no two blocks the same
  for (int i = 0; contents.size() < 2'000'000; ++i) contents += std::to_string(i);
  contents.resize(2'000'000);
  const std::string file = Store("f", contents);
  for (const auto& [offset, length, blocks, largest] : {std::tuple{0, 2'000'000, 4, 524288},
                                                        {3, 1048576, 2, 524288},
                                                        {1'999'990, 100, 1, 10},
                                                        {100, 50, 1, 50}}) {
    FetchedBytes fetched;
    EXPECT_EQ(Read(file, offset, length, fetched), SUCCESS);
    EXPECT_TRUE(fetched.bytes == contents.substr(static_cast<std::size_t>(offset),
                                                 static_cast<std::size_t>(length)));
    EXPECT_EQ(fetched.first_offset, offset);
    EXPECT_EQ(fetched.blocks, blocks) << offset;
    EXPECT_EQ(fetched.largest, largest) << offset;
  }
  const auto request = service->requests().back();
  EXPECT_EQ(request.Header("Range"), "bytes=100-149");
  EXPECT_TRUE(request.target.starts_with("/b2api/v1/b2_download_file_by_id?fileId=4_z"));
  EXPECT_EQ(request.host, "api001.backblazeb2.com");
}

TEST_F(ReadTest, OffsetsGoBeyondFourGigabytes) {
  const auto content = std::make_shared<emulator::Content>();
  const auto piece = emulator::Content::Synthetic(1 << 20);
  for (int i = 0; i < 5000; ++i) content->Append(*piece, 0, piece->size());
  constexpr long long kOffset = (4LL << 30) + 77;
  FetchedBytes fetched;
  EXPECT_EQ(Read(StoreContent({.name = "huge"}, content), kOffset, 100, fetched), SUCCESS);
  EXPECT_EQ(fetched.first_offset, kOffset);
  EXPECT_EQ(fetched.bytes, content->At(kOffset).substr(0, 100));
}

TEST_F(ReadTest, OddArgumentsFailWithoutARequest) {
  FetchedBytes fetched;
  service->ClearRequests();
  EXPECT_EQ(drive->Read(nullptr, 0, 1, NewHandle(), &fetched, nullptr), FILE_READ_FAILED);
  EXPECT_EQ(Read("", 0, 1, fetched), FAILED);
  EXPECT_EQ(drive->Read("b/f", 0, 1, nullptr, nullptr, nullptr), FAILED);
  EXPECT_TRUE(service->requests().empty());
  EXPECT_EQ(Read(bucket + "/no such\r\nfile", 0, 1, fetched), FAILED);
  EXPECT_EQ(Read(bucket + "/f", INT64_MAX, INT64_MAX, fetched), FAILED);
}

TEST_F(ReadTest, ErrorsDeliverNoByteOfTheirAnswer) {
  const std::string file = Store("f", "0123456789");
  for (const int status : {401, 404, 500}) {
    service->AddFault({.call = kDownload, .status = status, .body = "error"});  // 5 bytes, too
    FetchedBytes fetched;
    EXPECT_EQ(Read(file, 0, 5, fetched), FAILED) << status;
    EXPECT_EQ(fetched.blocks, 0) << status;
  }
  Fail(kDownload, 429);  // answered with a body, then repeated
  EXPECT_EQ(ReadAll(file, 10), "0123456789");
  FetchedBytes cut;
  EXPECT_EQ(Read(file, 10, 5, cut), FAILED);
  service->AddFault({.call = kDownload, .cut_after = 3});
  EXPECT_EQ(Read(file, 0, 10, cut), FAILED);
}

TEST_F(ReadTest, StrictlyOnlyTheRangeAskedForIsDelivered) {
  const std::string file = Store("f", "0123456789");
  // The status is of a cache on the way, which knows nothing of ranges; 0: the service's own.
  const std::tuple<long long, long long, int, std::string, bool> rows[] = {
      {3, 4, 0, "3456", true},   {0, 10, 200, "0123456789", true}, {3, 4, 200, "0123456789", false},
      {0, 4, 200, "012", false}, {3, 4, 206, "3456", false},       {8, 4, 0, "89", false}};
  for (const bool strict : {false, true}) {
    SetOpt("strict_answers", strict ? "TRUE" : "no");
    for (const auto& [offset, length, status, body, right] : rows) {
      if (status != 0) service->AddFault({.call = kDownload, .status = status, .body = body});
      const bool refused = strict && !right;
      log.Take();
      FetchedBytes fetched;
      EXPECT_EQ(Read(file, offset, length, fetched), refused ? FAILED : SUCCESS)
          << strict << offset << status << body;
      EXPECT_EQ(log.Contains("8 [PROTOCOL  ] Read >> "), refused);
      EXPECT_EQ(fetched.bytes, refused ? "" : body) << status;
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

TEST_F(ReadTest, CancellationEndsItAlsoAtAnErrorAndBeforeItBegins) {
  const std::string file = Store("f", "text");
  for (const int status : {404, 429}) {
    const auto handle = NewHandle();
    service->AddFault({.call = kDownload, .times = -1, .status = status, .body = "{}"});
    service->OnRequest([&](const auto&) { handle->transfer->state = TRANSFER_CANCELED; });
    service->ClearRequests();
    FetchedBytes none;
    for (int times = 0; times < 2; ++times) {
      EXPECT_EQ(Read(file, 0, 4, none, handle), READ_CANCELED);
    }
    EXPECT_EQ(service->Count(kDownload), 1U);
    Heal();
  }
  service->OnRequest({});
}

TEST_F(ReadTest, OnlyCancellationEndsItAndWithinOneBlock) {
  constexpr int kSize = 8'000'000;
  const std::string file = Store("f", std::string(kSize, 'x'));
  const auto blocks = [&](AERROR result, int answer, const auto& on_block) {
    FetchedBytes fetched;
    const auto handle = NewHandle();
    fetched.answer = static_cast<AERROR>(answer);
    fetched.on_block = [&] { on_block(*handle); };
    EXPECT_EQ(Read(file, 0, kSize, fetched, handle), result);
    return fetched.blocks;
  };
  for (const int state : {int{TRANSFER_CANCELED}, int{TRANSFER_FAILED}, 9}) {
    const auto end = [&](_FS_HANDLE& handle) { handle.transfer->state = state; };
    EXPECT_EQ(blocks(READ_CANCELED, 0, end), 1) << state;
  }
  const auto broken = [](auto&) { throw std::runtime_error("disk"); };
  EXPECT_EQ(blocks(READ_CANCELED, 0, broken), 0);
  for (const int answer : {1, -1, 300000}) {  // what a host makes of the bytes is its own business
    EXPECT_EQ(blocks(SUCCESS, answer, [](auto&) {}), 16);
  }
  FetchedBytes at_the_end;
  at_the_end.on_block = [] { throw std::runtime_error("disk"); };
  EXPECT_EQ(Read(file, kSize - 10, 100, at_the_end), FAILED);
}

TEST_F(ReadTest, EightThreadsShareOneDrive) {
  SetOpt("verbose", "on");
  std::vector<std::thread> threads;
  for (char name = 'a'; name < 'i'; ++name) {
    threads.emplace_back([this, contents = std::string(700'000, name), name] {
      const std::string file = Store({name}, contents);
      for (int round = 0; round < 5; ++round) {
        EXPECT_FALSE(List(bucket).empty());
        EXPECT_EQ(ReadAll(file, 700'000), contents);
        _FS_FILE_V2 record;
        EXPECT_EQ(drive->GetFileInfo(file.c_str(), &record, nullptr), SUCCESS);
        EXPECT_EQ(record.size, 700'000U);
        EXPECT_EQ(Upload(bucket, {name, '+'}, "contents"), SUCCESS);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(List(bucket).size(), 16U);
}

}  // namespace
