#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/support/drive_test.h"

namespace {

using emulator::Fault;
using nlohmann::json;

constexpr int kPart = 100'000;   // bytes; what is smaller goes up in one
constexpr int kSmall = 90'000;   // bytes
constexpr int kLarge = 250'000;  // bytes, three parts
constexpr const char* kUpload = "b2_upload_file";
constexpr const char* kUploadUrl = "b2_get_upload_url";
constexpr const char* kStart = "b2_start_large_file";
constexpr const char* kPartUrl = "b2_get_upload_part_url";
constexpr const char* kUploadPart = "b2_upload_part";
constexpr const char* kFinish = "b2_finish_large_file";

class UploadTest : public DriveTest {
 protected:
  UploadTest() : DriveTest(kPart) {}

  static std::string Contents(int size) {
    std::string text;
    for (int i = 0; i < size; ++i) text += static_cast<char>('a' + i * 7 / 5 % 26);
    return text;
  }

  // The requests since the last ClearRequests: u(pload URL), U(pload), s(tart), p(art URL), parts
  // by their numbers, f(inish).
  std::string Road() const {
    static const std::map<std::string, std::string> kLetters = {
        {kUploadUrl, "u"}, {kUpload, "U"}, {kStart, "s"}, {kPartUrl, "p"}, {kFinish, "f"}};
    std::string road;
    for (const auto& request : service->requests()) {
      const auto letter = kLetters.find(request.call);
      road += letter == kLetters.end() ? request.Header("X-Bz-Part-Number") : letter->second;
    }
    return road;
  }
};

}  // namespace

TEST_F(UploadTest, NamesAreTheParentsAndEncoded) {
  struct Row {
    std::string parent, name, stored, header, type;
  };
  const Row rows[] = {
      {bucket, "a.txt", "a.txt", "a.txt", "text/plain"},
      {bucket + "/p", "b c+%.JPG", "p/b c+%.JPG", "p/b%20c%2B%25.JPG", "image/jpeg"},
      {"/" + bucket + "//p/", "ü", "p/ü", "p/%C3%BC", "application/octet-stream"},
  };
  for (const Row& row : rows) {
    MemoryCache cache("contents of " + row.name);
    _FS_FILE_V2 file = NewFile(row.name, cache.bytes.size());
    EXPECT_EQ(UploadFrom(cache, row.parent, file), AERROR::SUCCESS);
    EXPECT_EQ(Text(row.stored), cache.bytes);
    EXPECT_EQ(file.type, FS_FILE);
    EXPECT_TRUE(file.id.starts_with(bucket + "/4_z"));
    EXPECT_FALSE(file.first_time.empty());
    EXPECT_EQ(file.first_time, file.third_time);
    const auto sent = service->requests().back();
    EXPECT_EQ(sent.Header("X-Bz-File-Name"), row.header);
    EXPECT_EQ(sent.Header("X-Bz-Content-Sha1"), "do_not_verify");
    EXPECT_EQ(sent.Header("Content-Length"), std::to_string(cache.bytes.size()));
    EXPECT_EQ(sent.Header("Content-Type"), row.type);
  }
}

TEST_F(UploadTest, SizesDecideBetweenOneRequestAndParts) {
  const std::tuple<int, AERROR, const char*> rows[] = {
      {0, AERROR::SUCCESS, "uU"},
      {1, AERROR::SUCCESS, "uU"},
      {kPart - 1, AERROR::SUCCESS, "uU"},
      {kPart, AERROR::FAILED, "sp1fp"},  // the service wants two parts
      {kPart + 1, AERROR::SUCCESS, "sp12f"},
      {2 * kPart, AERROR::SUCCESS, "sp12f"},
      {2 * kPart + 1, AERROR::SUCCESS, "sp123f"},
  };
  for (const auto& [size, result, road] : rows) {
    service->ClearRequests();
    MemoryCache cache(Contents(size));
    _FS_FILE_V2 file = NewFile("dir/f" + std::to_string(size), cache.bytes.size());
    EXPECT_EQ(UploadFrom(cache, bucket, file), result) << size;
    EXPECT_EQ(Road(), road) << size;
    if (result != AERROR::SUCCESS) continue;
    EXPECT_EQ(file.size, cache.bytes.size());
    EXPECT_EQ(ReadAll(file.id, cache.bytes.size()), cache.bytes);
  }
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] UploadLargeFile >> HTTP 400"));
  EXPECT_EQ(service->store().UnfinishedCount(), 1U);
}

TEST_F(UploadTest, RequestsOfALargeFileCarryWhatTheServiceNeeds) {
  EXPECT_EQ(Upload(bucket + "/dir", "f.mp4", Contents(kLarge)), AERROR::SUCCESS);
  std::string lengths;
  std::map<std::string, json> bodies;
  for (const auto& request : service->requests()) {
    if (request.call == kUploadPart) {
      lengths += request.Header("Content-Length") + " ";
      EXPECT_EQ(request.Header("X-Bz-Content-Sha1"), "do_not_verify");
    }
    bodies[request.call] = json::parse(request.body, nullptr, false);
  }
  EXPECT_EQ(lengths, "100000 100000 50000 ");
  EXPECT_EQ(bodies[kStart],
            (json{{"bucketId", bucket}, {"contentType", "video/mp4"}, {"fileName", "dir/f.mp4"}}));
  const json sha1s = bodies[kFinish]["partSha1Array"];
  ASSERT_EQ(sha1s.size(), 3U);
  EXPECT_EQ(sha1s[0].get<std::string>().size(), 40U);  // without "unverified:"
}

TEST_F(UploadTest, OddArgumentsAreRefusedWithoutARequest) {
  service->ClearRequests();
  MemoryCache cache("1");
  const auto upload = [&](const char* path, const char* name, std::uint64_t size, ICacheIO* from) {
    _FS_FILE_V2 file = NewFile(name, size);
    return drive->Upload(path, NewHandle(), from, &file, UPLOAD_DEFAULT, nullptr);
  };
  EXPECT_EQ(upload(nullptr, "f", 1, &cache), AERROR::ACCESS_DENIED);
  EXPECT_EQ(upload("", "f", 1, &cache), AERROR::FAILED);
  EXPECT_EQ(upload("/", "", 1, &cache), AERROR::ACCESS_DENIED);
  EXPECT_EQ(upload("b", "", 1, &cache), AERROR::ACCESS_DENIED);
  EXPECT_EQ(upload("b", "f", 1, nullptr), AERROR::FAILED);
  EXPECT_EQ(upload("b", "f", UINT64_MAX, &cache), AERROR::FAILED);
  EXPECT_EQ(upload("b", "", 1 << 20, &cache), AERROR::FAILED);
  EXPECT_EQ(upload("/", "f", 1 << 20, &cache), AERROR::ACCESS_DENIED);
  EXPECT_EQ(drive->Upload("b", nullptr, &cache, nullptr, UPLOAD_DEFAULT, nullptr), AERROR::FAILED);
  EXPECT_TRUE(service->requests().empty());
}

TEST_F(UploadTest, FailuresEndOrStartAgainAndLeaveNothingHalf) {
  struct Row {
    int size;
    Fault fault;
    AERROR result;
    const char* road;
    std::size_t left;  // unfinished large files: those given up stay on the service
  };
  const Row rows[] = {
      {kSmall, {.call = kUpload, .status = 401}, AERROR::SUCCESS, "uUuU", 0},
      {kSmall, {.call = kUpload, .status = 408}, AERROR::SUCCESS, "uUuU", 0},
      {kSmall, {.call = kUpload, .status = 429}, AERROR::SUCCESS, "uUuU", 0},
      {kSmall, {.call = kUpload, .status = 500}, AERROR::SUCCESS, "uUuU", 0},
      {kSmall, {.call = kUpload, .status = 503}, AERROR::FAILED, "uU", 0},
      {kSmall, {.call = kUpload, .status = 403}, AERROR::FAILED, "uU", 0},
      {kSmall, {.call = kUpload, .status = 200, .body = "no JSON"}, AERROR::FAILED, "uU", 0},
      {kSmall, {.call = kUpload, .status = 200, .body = "{}"}, AERROR::FAILED, "uU", 0},
      {kSmall, {.call = kUploadUrl, .status = 401}, AERROR::FAILED, "u", 0},
      {kSmall, {.call = kUploadUrl, .status = 408}, AERROR::FAILED, "u", 0},
      {kSmall, {.call = kUploadUrl, .status = 429}, AERROR::SUCCESS, "uuU", 0},
      {kSmall, {.call = kUploadUrl, .status = 503}, AERROR::FAILED, "u", 0},
      {kSmall, {.call = kUploadUrl, .status = 200, .body = "no JSON"}, AERROR::FAILED, "u", 0},
      {kSmall, {.call = kUploadUrl, .status = 200, .body = "{}"}, AERROR::FAILED, "u", 0},
      {kLarge, {.call = kStart, .status = 500}, AERROR::FAILED, "s", 0},
      {kLarge, {.call = kStart, .status = 429}, AERROR::SUCCESS, "ssp123f", 0},
      // Whatever is given up is followed by one more request for a part URL.
      {kLarge, {.call = kPartUrl, .status = 503}, AERROR::FAILED, "spp", 1},
      {kLarge, {.call = kUploadPart, .status = 401}, AERROR::SUCCESS, "sp1psp123f", 1},
      {kLarge, {.call = kUploadPart, .skip = 1, .status = 408}, AERROR::SUCCESS, "sp12psp123f", 1},
      {kLarge, {.call = kUploadPart, .skip = 2, .status = 500}, AERROR::SUCCESS, "sp123psp123f", 1},
      {kLarge, {.call = kUploadPart, .skip = 1, .status = 429}, AERROR::SUCCESS, "sp1223f", 0},
      {kLarge, {.call = kUploadPart, .status = 503}, AERROR::FAILED, "sp1p", 1},
      {kLarge, {.call = kUploadPart, .skip = 2, .status = 503}, AERROR::FAILED, "sp123p", 1},
      {kLarge, {.call = kFinish, .status = 401}, AERROR::SUCCESS, "sp123fpsp123f", 1},
      {kLarge, {.call = kFinish, .status = 500}, AERROR::SUCCESS, "sp123fpsp123f", 1},
      {kLarge, {.call = kFinish, .status = 429}, AERROR::SUCCESS, "sp123ff", 0},
      {kLarge, {.call = kFinish, .status = 503}, AERROR::FAILED, "sp123fp", 1},
  };
  std::size_t unfinished = 0;
  std::size_t stored = 0;
  for (const Row& row : rows) {
    const std::string name = row.fault.call + " " + std::to_string(row.fault.status) + " " +
                             std::to_string(row.fault.skip);
    service->ClearRequests();
    service->AddFault(row.fault);
    EXPECT_EQ(Upload(bucket, name, Contents(row.size)), row.result) << name;
    EXPECT_EQ(Road(), row.road) << name;
    stored += row.result == AERROR::SUCCESS ? 1 : 0;
    unfinished += row.left;
    EXPECT_EQ(Stored().size(), stored) << name;
    EXPECT_EQ(service->store().UnfinishedCount(), unfinished) << name;
    if (row.result == AERROR::SUCCESS) {
      EXPECT_EQ(Text(name), Contents(row.size)) << name;
    }
  }
}

TEST_F(UploadTest, CutConnectionsFailUnlessTheyWereIdle) {
  const Fault faults[] = {{.call = kUpload},
                          {.call = kUploadPart},
                          {.call = kUploadPart, .skip = 2},
                          {.call = kFinish}};
  for (Fault fault : faults) {
    fault.times = 2;  // for libcurl repeats once what dies on a connection that it had used before
    fault.cut_request_after = 10;
    service->AddFault(fault);
    const int size = fault.call == kUpload ? kSmall : kLarge;
    EXPECT_EQ(Upload(bucket, "f", Contents(size)), AERROR::FAILED) << fault.call << fault.skip;
    service->ClearFaults();
  }
  EXPECT_TRUE(Stored().empty());
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(Upload(bucket, "f" + std::to_string(i), Contents(kSmall)), AERROR::SUCCESS);
    List("");  // once it is answered, the upload's connection is idle
    service->CloseIdleConnections();
  }
}

TEST_F(UploadTest, CancellationAnywhereAndFailedReadsAreCanceled) {
  for (const auto& [size, at] :
       {std::pair{kSmall, 50'000}, {kLarge, 0}, {kLarge, kPart}, {kLarge, 210'000}}) {
    MemoryCache cache(Contents(size));
    cache.largest_read = 1000;
    const auto handle = NewHandle();
    cache.on_read = [&, at = at](long long offset) {
      if (offset < at) return;
      std::thread([&] { handle->transfer->state = TRANSFER_CANCELED; }).join();
    };
    _FS_FILE_V2 file = NewFile("f", cache.bytes.size());
    EXPECT_EQ(UploadFrom(cache, bucket, file, handle), AERROR::UPLOAD_CANCELED) << size << at;
  }
  MemoryCache broken(Contents(kSmall));
  broken.fails = true;
  _FS_FILE_V2 file = NewFile("f", kSmall);
  EXPECT_EQ(UploadFrom(broken, bucket, file), AERROR::UPLOAD_CANCELED);
  EXPECT_TRUE(Stored().empty());
}

TEST_F(UploadTest, ProgressCountsTheWholeFile) {
  for (const int size : {kSmall, kLarge}) {
    std::vector<std::pair<long long, long long>> seen;  // now, total
    const auto handle = NewHandle();
    handle->progress = [](long long total, long long now, void* context, double) {
      static_cast<decltype(seen)*>(context)->emplace_back(now, total);
    };
    handle->progress_context = &seen;
    MemoryCache cache(Contents(size));
    _FS_FILE_V2 file = NewFile("f", cache.bytes.size());
    EXPECT_EQ(UploadFrom(cache, bucket, file, handle), AERROR::SUCCESS);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(seen.back(), std::pair(1LL * size, 1LL * size));
    EXPECT_EQ(handle->transfer->offset.load(), size);
  }
}
