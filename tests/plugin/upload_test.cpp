#include <climits>
#include <nlohmann/json.hpp>

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

std::string Bytes(int size) {
  std::string text;
  for (int i = 0; i < size; ++i) text += static_cast<char>('a' + i * 7 / 5 % 26);
  return text;
}

class UploadTest : public DriveTest {
 protected:
  UploadTest() : DriveTest(kPart) {}

  // The requests since the last ClearRequests: u(pload URL), U(pload), s(tart), p(art URL), parts
  // by their numbers, f(inish).
  std::string Road() const {
    static const Contents kLetters = {
        {kUploadUrl, "u"}, {kUpload, "U"}, {kStart, "s"}, {kPartUrl, "p"}, {kFinish, "f"}};
    std::string road;
    for (const auto& request : service->requests()) {
      const auto letter = kLetters.find(request.call);
      road += letter == kLetters.end() ? request.Header("X-Bz-Part-Number") : letter->second;
    }
    return road;
  }
};

TEST_F(UploadTest, NamesAreTheParentsAndEncoded) {
  const std::tuple<std::string, const char*, const char*, const char*, const char*> rows[] = {
      {bucket, "a.txt", "a.txt", "a.txt", "text/plain"},
      {bucket + "/p", "b c+%.JPG", "p/b c+%.JPG", "p/b%20c%2B%25.JPG", "image/jpeg"},
      {"/" + bucket + "//p/", "ü", "p/ü", "p/%C3%BC", "application/octet-stream"}};
  for (const auto& [parent, name, stored, header, type] : rows) {
    MemoryCache cache(std::string("contents of ") + name);
    _FS_FILE_V2 file = RecordOf(name, cache.bytes.size());
    EXPECT_EQ(UploadFrom(cache, parent, file), SUCCESS);
    EXPECT_EQ(Versions(stored), Texts{cache.bytes});
    EXPECT_EQ(file.type, FS_FILE);
    EXPECT_TRUE(file.id.starts_with(bucket + "/4_z"));
    EXPECT_FALSE(file.first_time.empty());
    const auto sent = service->requests().back();
    EXPECT_EQ(sent.Header("X-Bz-File-Name"), header);
    EXPECT_EQ(sent.Header("X-Bz-Content-Sha1"), "do_not_verify");
    EXPECT_EQ(sent.Header("Content-Length"), std::to_string(cache.bytes.size()));
    EXPECT_EQ(sent.Header("Content-Type"), type);
  }
}

TEST_F(UploadTest, SizesDecideBetweenOneRequestAndParts) {
  const std::tuple<int, AERROR, const char*> rows[] = {
      {0, SUCCESS, "uU"},
      {kPart - 1, SUCCESS, "uU"},
      {kPart, FAILED, "sp1fp"},  // the service wants two parts
      {kPart + 1, SUCCESS, "sp12f"},
      {2 * kPart + 1, SUCCESS, "sp123f"},
  };
  for (const auto& [size, result, road] : rows) {
    service->ClearRequests();
    MemoryCache cache(Bytes(size));
    _FS_FILE_V2 file = RecordOf("dir/f" + std::to_string(size), cache.bytes.size());
    EXPECT_EQ(UploadFrom(cache, bucket, file), result) << size;
    EXPECT_EQ(Road(), road) << size;
    if (result != SUCCESS) continue;
    EXPECT_EQ(file.size, cache.bytes.size());
    EXPECT_EQ(ReadAll(file.id, size), cache.bytes);
  }
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] UploadLargeFile >> HTTP 400"));
  EXPECT_EQ(store().UnfinishedCount(), 1U);
}

TEST_F(UploadTest, RequestsOfALargeFileCarryWhatTheServiceNeeds) {
  EXPECT_EQ(Upload(bucket + "/dir", "f.mp4", Bytes(kLarge)), SUCCESS);
  std::map<std::string, emulator::Request> last;
  for (const auto& request : service->requests()) last[request.call] = request;
  EXPECT_EQ(last[kUploadPart].Header("Content-Length"), "50000");
  EXPECT_EQ(last[kUploadPart].Header("X-Bz-Content-Sha1"), "do_not_verify");
  EXPECT_EQ(json::parse(last[kStart].body),
            (json{{"bucketId", bucket}, {"contentType", "video/mp4"}, {"fileName", "dir/f.mp4"}}));
  const json sha1s = json::parse(last[kFinish].body)["partSha1Array"];
  ASSERT_EQ(sha1s.size(), 3U);
  EXPECT_EQ(sha1s[0].get<std::string>().size(), 40U);  // without "unverified:"
}

TEST_F(UploadTest, OddArgumentsAreRefusedWithoutARequest) {
  service->ClearRequests();
  MemoryCache cache("1");
  const std::tuple<const char*, const char*, std::uint64_t, ICacheIO*, AERROR> rows[] = {
      {nullptr, "f", 1, &cache, ACCESS_DENIED},  {"", "f", 1, &cache, FAILED},
      {"b", "", 1, &cache, ACCESS_DENIED},       {"b", "f", 1, nullptr, FAILED},
      {"b", "f", UINT64_MAX, &cache, FAILED},    {"b", "", 1 << 20, &cache, FAILED},
      {"/", "f", 1 << 20, &cache, ACCESS_DENIED}};
  for (const auto& [path, name, size, from, result] : rows) {
    _FS_FILE_V2 file = RecordOf(name, size);
    EXPECT_EQ(drive->Upload(path, NewHandle(), from, &file, UPLOAD_DEFAULT, nullptr), result);
  }
  EXPECT_EQ(drive->Upload("b", nullptr, &cache, nullptr, UPLOAD_DEFAULT, nullptr), FAILED);
  EXPECT_TRUE(service->requests().empty());
}

struct Failure {
  int size;
  Fault fault;
  const char* road;      // "!": and it fails
  std::size_t left = 0;  // unfinished large files: those given up stay on the service
};

const Failure kFailures[] = {
    {kSmall, {.call = kUpload, .status = 401}, "uUuU"},
    {kSmall, {.call = kUpload, .status = 429}, "uUuU"},
    {kSmall, {.call = kUpload, .status = 500}, "uUuU"},
    {kSmall, {.call = kUpload, .status = 503}, "uU!"},
    {kSmall, {.call = kUpload, .status = 200, .body = "{}"}, "uU!"},
    {kSmall, {.call = kUploadUrl, .status = 429}, "uuU"},
    {kSmall, {.call = kUploadUrl, .status = 503}, "u!"},
    {kSmall, {.call = kUploadUrl, .status = 200, .body = "{}"}, "u!"},
    {kLarge, {.call = kStart, .status = 500}, "s!"},
    // Whatever is given up is followed by one more request for a part URL.
    {kLarge, {.call = kPartUrl, .status = 503}, "spp!", 1},
    {kLarge, {.call = kUploadPart, .status = 401}, "sp1psp123f", 1},
    {kLarge, {.call = kUploadPart, .skip = 1, .status = 408}, "sp12psp123f", 1},
    {kLarge, {.call = kUploadPart, .skip = 2, .status = 500}, "sp123psp123f", 1},
    {kLarge, {.call = kUploadPart, .skip = 1, .status = 429}, "sp1223f"},
    {kLarge, {.call = kUploadPart, .skip = 2, .status = 503}, "sp123p!", 1},
    {kLarge, {.call = kFinish, .status = 401}, "sp123fpsp123f", 1},
    {kLarge, {.call = kFinish, .status = 503}, "sp123fp!", 1}};

TEST_F(UploadTest, FailuresEndOrStartAgainAndLeaveNothingHalf) {
  std::size_t unfinished = 0;
  Contents stored;
  for (const Failure& row : kFailures) {
    const std::string name = "f" + std::to_string(&row - kFailures);
    service->ClearRequests();
    service->AddFault(row.fault);
    const AERROR result = Upload(bucket, name, Bytes(row.size));
    EXPECT_EQ(Road() + (result == SUCCESS ? "" : "!"), row.road) << name;
    if (result == SUCCESS) stored[name] = Bytes(row.size);
    EXPECT_EQ(StoredIn(store()), stored);
    EXPECT_EQ(store().UnfinishedCount(), unfinished += row.left) << name;
  }
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(Upload(bucket, "idle" + std::to_string(i), Bytes(kSmall)), SUCCESS);
    List("");  // once it is answered, the upload's connection is idle
    service->CloseIdleConnections();
  }
}

TEST_F(UploadTest, CancellationAnywhereAndFailedReadsAreCanceled) {
  const auto upload = [&](int size, const std::shared_ptr<_FS_HANDLE>& handle, int cancel_at) {
    MemoryCache cache(Bytes(size));
    cache.largest_read = 1000;
    cache.on_read = [&](long long offset) {
      if (offset >= cancel_at) handle->transfer->state = TRANSFER_CANCELED;
    };
    _FS_FILE_V2 file = RecordOf("f", cache.bytes.size());
    return UploadFrom(cache, bucket, file, handle);
  };
  for (const auto& [size, at] :
       {std::pair{kSmall, 50'000}, {kLarge, 0}, {kLarge, kPart}, {kLarge, 210'000}}) {
    EXPECT_EQ(upload(size, NewHandle(), at), UPLOAD_CANCELED) << size << at;
  }
  MemoryCache broken(Bytes(kSmall));
  _FS_FILE_V2 longer = RecordOf("f", kSmall + 1);
  EXPECT_EQ(UploadFrom(broken, bucket, longer), UPLOAD_CANCELED);
  broken.fails = true;
  EXPECT_EQ(UploadFrom(broken, bucket, longer), UPLOAD_CANCELED);
  broken.on_read = [](long long) { throw std::bad_alloc(); };
  EXPECT_EQ(UploadFrom(broken, bucket, longer), UPLOAD_CANCELED);
  EXPECT_TRUE(Stored().empty());

  for (const int size : {kSmall, kLarge}) {
    std::vector<std::pair<long long, long long>> seen;  // now, total
    const auto handle = NewHandle();
    handle->progress = [](long long total, long long now, void* context, double) {
      static_cast<decltype(seen)*>(context)->emplace_back(now, total);
    };
    handle->progress_context = &seen;
    EXPECT_EQ(upload(size, handle, INT_MAX), SUCCESS);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(seen.back(), std::pair(1LL * size, 1LL * size));
    EXPECT_EQ(handle->transfer->offset.load(), size);
  }
}

}  // namespace
