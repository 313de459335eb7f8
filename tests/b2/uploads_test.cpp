#include <functional>
#include <future>
#include <thread>

#include "tests/support/drive_test.h"

namespace {

using emulator::Fault;

constexpr int kPart = 1000;  // bytes
constexpr const char* kUpload = "b2_upload_file";
constexpr const char* kUploadUrl = "b2_get_upload_url";
constexpr const char* kStart = "b2_start_large_file";
constexpr const char* kPartUrl = "b2_get_upload_part_url";
constexpr const char* kUploadPart = "b2_upload_part";
constexpr const char* kFinish = "b2_finish_large_file";

std::string Bytes(int size, int seed = 0) {
  std::string text;
  for (int i = seed; static_cast<int>(text.size()) < size; ++i) text += std::to_string(i) + " ";
  text.resize(static_cast<std::size_t>(size));
  return text;
}

class UploadsTest : public DriveTest {
 protected:
  UploadsTest() : DriveTest(kPart) {}

  // The requests since the last ClearRequests by their letters, parts by their numbers; each once
  // and sorted where several go at once.
  std::string Road(bool sorted = false) {
    static const std::string kLetters =
        "b2_get_upload_url=u b2_upload_file=U b2_start_large_file=s b2_get_upload_part_url=p "
        "b2_finish_large_file=f b2_cancel_large_file=c b2_list_unfinished_large_files=l "
        "b2_list_parts=L b2_get_file_info=i b2_delete_file_version=d";
    std::string road;
    for (const auto& request : service->requests()) {
      const auto at = kLetters.find(request.call + "=");
      road += at == std::string::npos ? request.Header("X-Bz-Part-Number")
                                      : kLetters.substr(at + request.call.size() + 1, 1);
    }
    if (sorted) {
      std::ranges::sort(road);
      road.erase(std::unique(road.begin(), road.end()), road.end());
    }
    service->ClearRequests();
    return road;
  }
  // Its road; "!" behind it: and it fails.
  std::string Put(Text name, Text text, bool sorted = false) {
    service->ClearRequests();
    MemoryCache cache(text);
    _FS_FILE_V2 file = RecordOf(name, text.size());
    file.second_time = time;
    const AERROR result = UploadFrom(cache, bucket, file);
    if (result == SUCCESS) expected[name] = text;
    EXPECT_EQ(StoredIn(store()), expected) << name;
    return Road(sorted) + (result == SUCCESS ? "" : "!");
  }

  Contents expected;
  std::string time;  // the record's second
};

TEST_F(UploadsTest, KeptUrlsSaveARequestAndAreDroppedWithAnyFailure) {
  SetOpt("reuse_upload_urls", "true");
  const std::pair<Fault, const char*> rows[] = {
      {{.times = 0}, "uU"},
      {{.times = 0}, "U"},
      {{.call = kUpload, .status = 401}, "UuU"},
      {{.call = kUpload, .times = 2, .status = 503}, "UuU!"},  // the second URL was new
      {{.times = 0}, "uU"},
      {{.call = kUpload, .cut_request_after = 1}, "UUuU"},  // libcurl's own second
      {{.call = kUpload, .status = 400}, "U!"},
      {{.call = kUploadUrl, .status = 503}, "u!"},
      {{.times = 0}, "uU"}};
  for (const auto& [fault, road] : rows) {
    service->AddFault(fault);
    EXPECT_EQ(Put("f", "text"), road) << &fault - &rows[0].first;
  }
  service->ExpireUploadUrls();
  EXPECT_EQ(Put("f", "text"), "UuU");
  _FS_FILE_V2 folder = RecordOf("dir");
  EXPECT_EQ(drive->CreateDirectory(bucket.c_str(), &folder, nullptr), SUCCESS);
  EXPECT_EQ(Road(), "U");
  expected["dir/.bzEmpty"] = "";
  EXPECT_EQ(Connect(), SUCCESS);
  EXPECT_EQ(Put("f", "text"), "uU");
}

TEST_F(UploadsTest, SizesDecideAndEverySizeCanBeStored) {
  const std::tuple<const char*, const char*, int, const char*> rows[] = {
      {"1000", "1", 0, "uU"},        {"1000", "1", 1000, "uU"},     {"1000", "1", 1001, "sp12f"},
      {"1000", "3", 2500, "123fps"}, {"1000", "32", 1500, "12fps"}, {"2500", "2", 2500, "uU"},
      {"100", "1", 250, "sp123f"},   {"99", "1", 1001, "sp12f"},  // ignored: too small
      {"1k", "1", 250, "uU"},        {"0", "33", 250, "uU"}};     // ignored: no such values
  for (const auto& [part, connections, size, road] : rows) {
    Set("upload_part_size=" + std::string(part) + " upload_connections=" + connections);
    EXPECT_EQ(Put("f" + std::to_string(size), Bytes(size), *road == '1'), road) << part << size;
  }
  // 128, 86 and 64 parts.
  const std::pair<const char*, std::size_t> roads[] = {
      {"1", 276 + 3}, {"150", 163 + 3}, {"400", 119 + 3}};
  SetOpt("upload_part_size", "100");
  for (const auto& [most, road] : roads) {
    SetOpt("upload_part_size_max", most);
    EXPECT_EQ(Put("f", Bytes(12800, 1)).size(), road) << most;
  }
  EXPECT_EQ(log.Count("are smaller than the service takes"), 3);
  EXPECT_EQ(log.Count("4 [PROTOCOL  ] SetOpt"), 3);
  EXPECT_EQ(store().UnfinishedCount(), 0U);
}

TEST_F(UploadsTest, WhatPassesCostsAPartAndNotTheFile) {
  const std::pair<Fault, const char*> rows[] = {
      {{.call = kUploadPart, .status = 401}, "sp1p123f"},
      {{.call = kUploadPart, .skip = 1, .status = 408}, "sp12p23f"},
      {{.call = kUploadPart, .times = 2, .status = 503}, "sp1p1p123f"},
      {{.call = kUploadPart, .cut_request_after = 500}, "sp11p123f"},
      {{.call = kUploadPart, .status = 200, .body = "{}"}, "sp1c!"},
      {{.call = kPartUrl, .cut_after = 1}, "spp123f"},
      {{.call = kPartUrl, .status = 401}, "spc!"},
      {{.call = kStart, .status = 503}, "sl!"},
      {{.call = kStart, .cut_after = 1, .commit = true}, "slLc!"},
      {{.call = kStart, .cut_request_after = UINT64_MAX, .commit = true}, "slLc!"},
      {{.call = kFinish, .status = 503, .commit = true}, "sp123ffi"},
      {{.call = kFinish, .cut_request_after = UINT64_MAX, .commit = true}, "sp123ffi"},
      {{.call = kFinish, .status = 401}, "sp123fc!"}};
  Set("upload_part_size=1000 cancel_failed_uploads=true");
  for (const auto& [fault, road] : rows) {
    service->AddFault(fault);
    EXPECT_EQ(Put("f", Bytes(2500, static_cast<int>(std::string(road).size()))), road);
    EXPECT_EQ(store().UnfinishedCount(), 0U) << road;
  }
  SetOpt("cancel_failed_uploads", "false");
  Fail(kUploadPart, 403);
  EXPECT_EQ(Put("f", Bytes(2500)), "sp1!");
  // The procedure without parts at once cancels what it starts anew, too.
  const ProtocolPtr parts = std::exchange(drive, ProtocolPtr(plugin.NewProtocol()));
  ASSERT_EQ(ConnectTo(*service, drive), SUCCESS);
  SetOpt("cancel_failed_uploads", "true");
  for (const auto& [status, road] : {std::pair{500, "sp1csp123f"}, {503, "sp1c!"}}) {
    Fail(kUploadPart, status);
    EXPECT_EQ(Put("f", Bytes(2500)), road);
  }
  EXPECT_EQ(store().UnfinishedCount(), 1U);
}

TEST_F(UploadsTest, WhatArrivesIsWhatWasSent) {
  SetOpt("verify_uploads", "true");
  const std::tuple<int, Fault, const char*> rows[] = {
      {0, {.times = 0}, "uU"},
      {10, {.call = kUpload, .flip_byte = 9}, "uUuU"},
      {10, {.call = kUpload, .flip_byte = 12}, "uUuU"},
      {10, {.call = kUpload, .replace = {{"Sha1\": \"", "Sha1\": \"0"}}}, "uUduU"},
      {2500, {.call = kUploadPart, .skip = 1, .flip_byte = 5}, "sp12p23f"},
      {2500, {.call = kUploadPart, .replace = {{"Sha1\": \"", "Sha1\": \"0"}}}, "sp1p123f"},
      {10, {.call = kUpload, .times = -1, .flip_byte = 0}, "uUuUuUuUuUuU!"}};
  for (const auto& [size, fault, road] : rows) {
    service->AddFault(fault);
    EXPECT_EQ(Put("f", Bytes(size, size)), road) << road;
  }
  Heal();
  SetOpt("verify_uploads", "before");
  EXPECT_EQ(Upload(bucket, "large", Bytes(1500)), SUCCESS);
  const auto large = emulator::VersionsOf(store(), "bucket", "large").front();
  EXPECT_EQ(large->info.at("large_file_sha1"), large->content->ComputeSha1());
  SetOpt("file_details", "true");
  const std::string text = Bytes(1500), sha1(40, 'a');
  MemoryCache cache(text);
  _FS_FILE_V2 known = RecordOf("known", text.size());
  known.texts = {"info.large_file_sha1=" + sha1};
  for (int i = 0; i < 8; ++i) known.texts.push_back("info." + std::to_string(i) + "=");
  EXPECT_EQ(UploadFrom(cache, bucket, known), SUCCESS);
  const auto said = emulator::VersionsOf(store(), "bucket", "known").front();
  EXPECT_EQ(said->info.at("large_file_sha1"), sha1);
  // Unseen without the option.
  Set("verify_uploads=false upload_part_size=1000");
  for (const int size : {10, 1500}) {
    service->AddFault({.call = size > kPart ? kUploadPart : kUpload, .flip_byte = 5});
    EXPECT_EQ(Upload(bucket, "f", Bytes(size)), SUCCESS);
    EXPECT_NE(emulator::ReadText(store(), "bucket", "f"), Bytes(size));
  }
}

TEST_F(UploadsTest, TheNextTrySendsWhatTheLastDidNot) {
  Set("upload_part_size=1000 resume_uploads=true cancel_failed_uploads=true keep_times=true");
  const std::string text = Bytes(3500);
  std::string changed = text;
  changed[1500] ^= 1;
  struct Row {
    Fault fault;
    std::string text;
    const char* road;
    const char* part_size = "1000";
    const char* name = "f";
  };
  const Fault none{.times = 0}, third{.call = kUploadPart, .skip = 2, .status = 403};
  const Row rows[] = {
      {third, text, "lsp123!"},
      {none, text, "lLp34f"},
      {{.call = kFinish, .status = 401}, text, "lsp1234f!"},
      {none, changed, "lLp2f"},
      {third, text, "lsp123!"},
      // Neither another size nor another name is the same file; what cannot be listed is not there.
      {none, Bytes(3501), "lsp1234f"},
      {none, text, "lsp1234f", "1000", "g"},
      {{.call = "b2_list_unfinished_large_files", .status = 401}, text, "lsp1234f"},
      {{.call = "b2_list_parts", .status = 503}, text, "lLsp1234f"},
      // Other parts are replaced, but more of them than this try has would stay.
      {none, text, "lLp12f", "2000"},
      {{.call = kUploadPart, .skip = 3, .status = 403}, text, "lsp1234!"},
      {none, text, "lLsp12f", "2000"},
      {none, text, "lLp4f"},
      {third, text, "lsp123!"}};
  for (const Row& row : rows) {
    SetOpt("upload_part_size", row.part_size);
    service->AddFault(row.fault);
    EXPECT_EQ(Put(row.name, row.text), row.road) << &row - rows;
  }
  // Nor is one of another time.
  time = "2001-02-03T04:05:06.789Z";
  EXPECT_EQ(Put("f", text), "lsp1234f");
  time.clear();
  // Another client cancels it between two of our requests.
  service->OnRequest([this](const emulator::Request& request) {
    if (request.call == kPartUrl && service->Count(kStart) == 0)
      store().CancelLarge(store().Unfinished(bucket).front()->Id());
  });
  EXPECT_EQ(Put("f", text), "lLpsp1234f");
  service->OnRequest({});
}

TEST_F(UploadsTest, CancelingStopsAllAndLeavesNothing) {
  Set("upload_part_size=1000 upload_connections=4 cancel_failed_uploads=true");
  for (const char* call : {kStart, kPartUrl, kUploadPart, kFinish}) {
    for (const Fault& trouble : {Fault{.call = call, .times = -1, .stall = true},
                                 Fault{.call = call, .times = -1, .status = 429}}) {
      service->ClearRequests();
      service->AddFault(trouble);
      const auto handle = NewHandle();
      MemoryCache cache(Bytes(6500));
      _FS_FILE_V2 file = RecordOf("f", cache.bytes.size());
      auto result = std::async([&] { return UploadFrom(cache, bucket, file, handle); });
      while (service->Count(call) == 0) std::this_thread::yield();
      handle->transfer->state = TRANSFER_CANCELED;
      // All stalls for 20 seconds at least, or waits for 31.
      EXPECT_EQ(result.wait_for(std::chrono::seconds(10)), std::future_status::ready) << call;
      EXPECT_EQ(result.get(), UPLOAD_CANCELED) << call;
      Heal();
    }
  }
  MemoryCache shorter(Bytes(6000));
  shorter.on_read = [&](long long offset) { shorter.fails = offset >= 5000; };
  _FS_FILE_V2 file = RecordOf("f", 6500);
  EXPECT_EQ(UploadFrom(shorter, bucket, file), UPLOAD_CANCELED);
  EXPECT_TRUE(Stored().empty());
  EXPECT_EQ(store().UnfinishedCount(), 0U);
}

TEST_F(UploadsTest, HostsHearFromTheCallingThreadAndTheCauseLast) {
  Set("upload_part_size=1000 upload_connections=8 verbose=on");
  const auto handle = NewHandle();
  std::vector<long long> seen;
  handle->progress_context = &seen;
  handle->progress = [](long long, long long now, void* context, double) {
    static_cast<decltype(seen)*>(context)->push_back(now);
  };
  MemoryCache cache(Bytes(20'500));
  _FS_FILE_V2 file = RecordOf("f", cache.bytes.size());
  EXPECT_EQ(UploadFrom(cache, bucket, file, handle), SUCCESS);
  EXPECT_TRUE(std::ranges::is_sorted(seen));
  EXPECT_EQ(seen.back(), 20'500);
  EXPECT_EQ(handle->transfer->offset.load(), 20'500);
  Fail(kUploadPart, 403, 1, 5);
  EXPECT_EQ(Upload(bucket, "g", cache.bytes), FAILED);
  EXPECT_EQ(log.of_other_threads, 0);
  EXPECT_TRUE(log.Take().back().ends_with("UploadLargeFile >> HTTP 403"));
}

TEST_F(UploadsTest, ManyThreadsOnOneObject) {
  Set("reuse_upload_urls=true upload_part_size=1000 upload_connections=4 "
      "cancel_failed_uploads=true verify_uploads=before resume_uploads=true keep_times=true "
      "file_details=true server_copy=true copy_part_size=1000 hide_on_delete=true "
      "strict_answers=true");
  Fail("", 503, 8, 20);
  std::vector<std::thread> threads;
  for (int i = 0; i < 16; ++i) {
    threads.emplace_back([this, i] {
      const std::string own = "own" + std::to_string(i);
      FileList list;
      _FS_FILE_V2 out = RecordOf("moved" + std::to_string(i));
      const std::function<AERROR()> calls[] = {
          [&] { return Upload(bucket, own + "/a", Bytes(3500, i)); },
          [&] { return Upload(bucket, "same", Bytes(2500)); },
          [&] { return Upload(bucket, own + "/small", Bytes(100, i)); },
          [&] {
            return drive->MoveDir((bucket + "/" + own).c_str(), bucket.c_str(), &out, nullptr);
          },
          [&] { return drive->GetFileList(bucket.c_str(), &list, nullptr); }};
      for (int round = 0; round < 3; ++round) {
        for (const auto& call : calls) {
          while (call() != SUCCESS) {
          }
        }
        Set("upload_connections=" + std::to_string(1 + i % 4) +
            " view=" + (i % 2 ? "files" : "versions"));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < 16; ++i) {
    expected["moved" + std::to_string(i) + "/a"] = Bytes(3500, i);
    expected["moved" + std::to_string(i) + "/small"] = Bytes(100, i);
  }
  expected["same"] = Bytes(2500);
  EXPECT_EQ(StoredIn(store()), expected);
}

}  // namespace
