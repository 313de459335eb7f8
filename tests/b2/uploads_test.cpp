#include <atomic>
#include <future>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/support/drive_test.h"

namespace {

using emulator::Fault;
using nlohmann::json;

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

  void Set(const std::vector<std::pair<const char*, const char*>>& options) {
    for (const auto& [key, value] : options) SetOpt(key, value);
  }
  void SetAll() {
    Set({{"reuse_upload_urls", "true"},
         {"upload_part_size", "1000"},
         {"upload_connections", "4"},
         {"cancel_failed_uploads", "true"},
         {"verify_uploads", "true"},
         {"resume_uploads", "true"}});
  }
  // The requests since the last ClearRequests by their letters, parts by their numbers; each once
  // and sorted where several go at once.
  std::string Road(bool sorted = false) {
    static const Contents kLetters = {{kUploadUrl, "u"},
                                      {kUpload, "U"},
                                      {kStart, "s"},
                                      {kPartUrl, "p"},
                                      {kFinish, "f"},
                                      {"b2_cancel_large_file", "c"},
                                      {"b2_list_unfinished_large_files", "l"},
                                      {"b2_list_parts", "L"},
                                      {"b2_get_file_info", "i"},
                                      {"b2_delete_file_version", "d"},
                                      {"CONNECT", ""}};
    std::string road;
    for (const auto& request : service->requests()) {
      const auto letter = kLetters.find(request.call);
      road += letter == kLetters.end() ? request.Header("X-Bz-Part-Number") : letter->second;
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
    const AERROR result = Upload(bucket, name, text);
    if (result == SUCCESS) expected[name] = text;
    EXPECT_EQ(StoredIn(store()), expected) << name;
    return Road(sorted) + (result == SUCCESS ? "" : "!");
  }
  AERROR PutAndCancelAt(Text name, Text text, long long at) {
    MemoryCache cache(text);
    const auto handle = NewHandle();
    cache.on_read = [&](long long offset) {
      if (offset >= at) handle->transfer->state = TRANSFER_CANCELED;
    };
    _FS_FILE_V2 file = RecordOf(name, text.size());
    return UploadFrom(cache, bucket, file, handle);
  }

  Contents expected;
};

TEST_F(UploadsTest, KeptUrlsSaveARequestAndAreDroppedWithAnyFailure) {
  SetOpt("reuse_upload_urls", "true");
  const std::pair<Fault, const char*> rows[] = {
      {{.times = 0}, "uU"},
      {{.times = 0}, "U"},
      {{.call = kUpload, .status = 401}, "UuU"},
      {{.call = kUpload, .status = 503}, "UuU"},
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
    Set({{"upload_part_size", part}, {"upload_connections", connections}});
    EXPECT_EQ(Put("f" + std::to_string(size), Bytes(size), *road == '1'), road) << part << size;
  }
  EXPECT_EQ(log.Count("are smaller than the service takes"), 3);
  EXPECT_EQ(log.Count("4 [PROTOCOL  ] SetOpt"), 3);
  EXPECT_EQ(store().UnfinishedCount(), 0U);
}

TEST_F(UploadsTest, WhatPassesCostsAPartAndNotTheFile) {
  struct Row {
    Fault fault;
    const char* road;
    std::size_t left = 0;
  };
  const Row rows[] = {
      {{.call = kUploadPart, .status = 401}, "sp1p123f"},
      {{.call = kUploadPart, .skip = 1, .status = 408}, "sp12p23f"},
      {{.call = kUploadPart, .skip = 2, .status = 500}, "sp123p3f"},
      {{.call = kUploadPart, .times = 2, .status = 503}, "sp1p1p123f"},
      {{.call = kUploadPart, .cut_request_after = 500}, "sp11p123f"},
      {{.call = kUploadPart, .cut_after = 3, .commit = true}, "sp1p123f"},
      {{.call = kUploadPart, .status = 429}, "sp1123f"},
      {{.call = kUploadPart, .status = 403}, "sp1!", 1},
      {{.call = kUploadPart, .status = 200, .body = "{}"}, "sp1!", 1},
      {{.call = kPartUrl, .status = 503}, "spp123f"},
      {{.call = kPartUrl, .cut_after = 1}, "spp123f"},
      {{.call = kPartUrl, .status = 401}, "sp!", 1},
      {{.call = kStart, .status = 503}, "s!"},
      {{.call = kFinish, .status = 503}, "sp123ff"},
      {{.call = kFinish, .cut_after = 1}, "sp123ff"},
      {{.call = kFinish, .status = 503, .commit = true}, "sp123ffi"},
      {{.call = kFinish, .cut_request_after = UINT64_MAX, .commit = true}, "sp123ffi"},
      {{.call = kFinish, .status = 401}, "sp123f!", 1}};
  std::size_t left = 0;
  for (const char* cancel : {"false", "true"}) {
    Set({{"upload_part_size", "1000"}, {"cancel_failed_uploads", cancel}});
    const bool canceled = *cancel == 't';
    for (const Row& row : rows) {
      service->AddFault(row.fault);
      std::string road = row.road;
      if (canceled && row.left > 0) road.insert(road.size() - 1, "c");
      if (canceled && road == "s!") road = "slL!";  // it may have been started all the same
      EXPECT_EQ(Put("f", Bytes(2500, static_cast<int>(&row - rows))), road) << &row - rows;
      EXPECT_EQ(store().UnfinishedCount(), left += canceled ? 0 : row.left) << &row - rows;
    }
  }
  // The procedure without parts at once cancels what it starts anew, too.
  SetOpt("upload_part_size", "0");
  Set({{"verify_uploads", "false"}, {"cancel_failed_uploads", "true"}});
  const ProtocolPtr plain(plugin.NewProtocol());
  plain->SetOpt("cancel_failed_uploads", "true");
  ASSERT_EQ(ConnectTo(*service, plain), SUCCESS);
  for (const auto& [status, road] : {std::pair{500, "sp1csp123f"}, {503, "sp1c"}}) {
    service->ClearRequests();
    Fail(kUploadPart, status);
    MemoryCache cache(Bytes(2500));
    _FS_FILE_V2 file = RecordOf("plain", cache.bytes.size());
    plain->Upload(bucket.c_str(), NewHandle(), &cache, &file, UPLOAD_DEFAULT, nullptr);
    EXPECT_EQ(Road(), road);
    EXPECT_EQ(store().UnfinishedCount(), left);
  }
}

TEST_F(UploadsTest, WhatArrivesIsWhatWasSent) {
  SetOpt("verify_uploads", "true");
  const std::tuple<int, Fault, const char*> rows[] = {
      {10, {.times = 0}, "uU"},
      {0, {.times = 0}, "uU"},
      {10, {.call = kUpload, .flip_byte = 9}, "uUuU"},
      {10, {.call = kUpload, .flip_byte = 12}, "uUuU"},
      {10,
       {.call = kUpload, .replace = {{"\"contentSha1\": \"", "\"contentSha1\": \"0"}}},
       "uUduU"},
      {2500, {.times = 0}, "sp123f"},
      {2500, {.call = kUploadPart, .skip = 1, .flip_byte = 5}, "sp12p23f"},
      {2500, {.call = kUploadPart, .replace = {{"Sha1\": \"", "Sha1\": \"0"}}}, "sp1p123f"},
      {10, {.call = kUpload, .times = -1, .flip_byte = 0}, "uUuUuUuUuUuU!"}};
  for (const auto& [size, fault, road] : rows) {
    if (fault.times != 0) service->AddFault(fault);
    EXPECT_EQ(Put("f", Bytes(size, size)), road) << road;
  }
  Heal();
  SetOpt("verify_uploads", "before");
  std::string start;
  service->OnRequest([&](const emulator::Request& request) {
    if (request.call == kStart) start = request.call;
  });
  EXPECT_EQ(Upload(bucket, "large", Bytes(1500)), SUCCESS);
  for (const auto& request : service->requests()) {
    if (request.call == kStart) start = request.body;
    if (request.call == kUploadPart) {
      EXPECT_EQ(request.Header("X-Bz-Content-Sha1"), "hex_digits_at_end");
    }
  }
  EXPECT_EQ(json::parse(start)["fileInfo"]["large_file_sha1"].get<std::string>().size(), 40U);
  service->OnRequest({});
}

TEST_F(UploadsTest, TheNextTrySendsWhatTheLastDidNot) {
  Set({{"upload_part_size", "1000"},
       {"resume_uploads", "true"},
       {"cancel_failed_uploads", "true"}});
  const std::string text = Bytes(3500);
  const auto leave = [&](int parts) {
    Fail(kUploadPart, 403, 1, parts);
    EXPECT_EQ(Upload(bucket, "f", text), FAILED);
  };
  leave(2);
  EXPECT_EQ(Put("f", text), "lLp34f");

  Fail(kFinish, 401);
  EXPECT_EQ(Put("f", text), "lsp1234f!");
  std::string changed = text;
  changed[1500] ^= 1;
  EXPECT_EQ(Put("f", changed), "lLp2f");
  EXPECT_EQ(PutAndCancelAt("f", text, 2000), UPLOAD_CANCELED);
  EXPECT_EQ(store().UnfinishedCount(), 1U);
  EXPECT_EQ(Upload(bucket, "f", text), SUCCESS);
  EXPECT_EQ(store().UnfinishedCount(), 0U);

  // Neither another size nor another name is the same file; what cannot be listed is not there.
  leave(2);
  EXPECT_EQ(Put("f", Bytes(3501)), "lsp1234f");
  EXPECT_EQ(Put("f2", text), "lsp1234f");
  Fail("b2_list_unfinished_large_files", 401);
  EXPECT_EQ(Put("f", text), "lsp1234f");
  Fail("b2_list_parts", 503);
  EXPECT_EQ(Put("f", text), "lLsp1234f");
  // Other parts are replaced, but more of them than this try has would stay.
  SetOpt("upload_part_size", "2000");
  EXPECT_EQ(Put("f", text), "lLp12f");
  SetOpt("upload_part_size", "1000");
  leave(3);
  SetOpt("upload_part_size", "2000");
  EXPECT_EQ(Put("f", text), "lLsp12f");
  SetOpt("upload_part_size", "1000");
  EXPECT_EQ(Put("f", text), "lLp4f");

  // Another client cancels it between two of our requests.
  leave(2);
  service->OnRequest([this](const emulator::Request& request) {
    const auto unfinished = store().Unfinished(bucket);
    if (request.call == kPartUrl && service->Count(kStart) == 0) {
      store().CancelLarge(unfinished.front()->Id());
    }
  });
  EXPECT_EQ(Put("f", text), "lLpsp1234f");
  service->OnRequest({});
}

TEST_F(UploadsTest, CancelingStopsAllAndLeavesNothing) {
  Set({{"upload_part_size", "1000"},
       {"upload_connections", "4"},
       {"cancel_failed_uploads", "true"}});
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
  EXPECT_EQ(PutAndCancelAt("f", Bytes(6500), 5000), UPLOAD_CANCELED);
  MemoryCache shorter(Bytes(6000));
  shorter.on_read = [&](long long offset) { shorter.fails = offset >= 5000; };
  _FS_FILE_V2 file = RecordOf("f", 6500);
  EXPECT_EQ(UploadFrom(shorter, bucket, file), UPLOAD_CANCELED);
  EXPECT_TRUE(Stored().empty());
  EXPECT_EQ(store().UnfinishedCount(), 0U);
}

// The threads from which a host hears.
class HeardThreads final : public ILog {
 public:
  void SetLevels(std::int32_t) override {}
  bool IsNetworkTraceEnabled() override { return false; }
  void Log(LOGLEVEL, const char* format, std::va_list arguments) override {
    char line[1000];
    std::vsnprintf(line, sizeof line, format, arguments);
    others += std::this_thread::get_id() != own;
    last = line;
  }

  const std::thread::id own = std::this_thread::get_id();
  std::atomic<int> others = 0;
  std::string last;
};

TEST_F(UploadsTest, HostsHearFromTheCallingThreadAndTheCauseLast) {
  Set({{"upload_part_size", "1000"}, {"upload_connections", "8"}, {"verbose", "on"}});
  HeardThreads heard;
  plugin.Get<module_api::BindLogger>("BindLogger")(&heard);
  const auto handle = NewHandle();
  std::vector<long long> seen;
  handle->progress_context = &seen;
  handle->progress = [](long long total, long long now, void* context, double) {
    EXPECT_EQ(total, 20'500);
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
  EXPECT_EQ(heard.last, "[PROTOCOL  ] UploadLargeFile >> HTTP 403");
  EXPECT_EQ(heard.others, 0);
  plugin.Get<module_api::BindLogger>("BindLogger")(&log);
}

TEST_F(UploadsTest, ManyThreadsOnOneObject) {
  SetAll();
  Fail("", 503, 8, 20);
  std::vector<std::thread> threads;
  for (int i = 0; i < 16; ++i) {
    threads.emplace_back([this, i] {
      const std::string own = "own" + std::to_string(i), small = Bytes(100, i);
      for (int round = 0; round < 3; ++round) {
        while (Upload(bucket, own, Bytes(3500, i)) != SUCCESS) {
        }
        while (Upload(bucket, "same", Bytes(2500)) != SUCCESS) {
        }
        while (Upload(bucket, own + "small", small) != SUCCESS) {
        }
        SetOpt("upload_connections", std::to_string(1 + i % 4));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < 16; ++i) {
    const std::string own = "own" + std::to_string(i);
    expected[own] = Bytes(3500, i);
    expected[own + "small"] = Bytes(100, i);
  }
  expected["same"] = Bytes(2500);
  EXPECT_EQ(StoredIn(store()), expected);
}

}  // namespace
