#include <thread>

#include "emulator/inspection.h"
#include "tests/support/drive_test.h"

namespace {

using Names = std::vector<std::string>;

class UploadTest : public DriveTest {
 protected:
  Names Stored() { return emulator::VisibleNames(service->store(), "bucket-one"); }
  std::string Text(const std::string& name) {
    return emulator::ReadText(service->store(), "bucket-one", name);
  }

  std::string bucket = NewBucket();
};

}  // namespace

TEST_F(UploadTest, NamesAreTheParentsAndEncoded) {
  struct Row {
    std::string parent, name, stored, header;
  };
  const Row rows[] = {
      {bucket, "a.txt", "a.txt", "a.txt"},
      {bucket + "/p", "b c+%.jpg", "p/b c+%.jpg", "p/b%20c%2B%25.jpg"},
      {"/" + bucket + "//p/", "ü", "p/ü", "p/%C3%BC"},
      {bucket, "empty", "empty", "empty"},
  };
  for (const Row& row : rows) {
    const std::string contents = row.name == "empty" ? "" : "contents of " + row.name;
    MemoryCache cache(contents);
    _FS_FILE_V2 file = NewFile(row.name, contents.size());
    EXPECT_EQ(
        drive->Upload(row.parent.c_str(), NewHandle(), &cache, &file, UPLOAD_DEFAULT, nullptr),
        AERROR::SUCCESS);
    EXPECT_EQ(Text(row.stored), contents);
    EXPECT_EQ(file.type, FS_FILE);
    EXPECT_EQ(file.size, contents.size());
    EXPECT_TRUE(file.id.starts_with(bucket + "/4_z"));
    EXPECT_EQ(file.first_time, file.third_time);
    const auto sent = service->requests().back();
    EXPECT_EQ(sent.Header("X-Bz-File-Name"), row.header);
    EXPECT_EQ(sent.Header("X-Bz-Content-Sha1"), "do_not_verify");
    EXPECT_EQ(sent.Header("Content-Length"), std::to_string(contents.size()));
    EXPECT_EQ(ReadAll(file.id, contents.size()), contents);
  }
  EXPECT_EQ(service->Count("b2_get_upload_url"), 4U);
}

TEST_F(UploadTest, TypesFollowTheExtension) {
  for (const auto& [name, type] : {std::pair{"photo.JPG", "image/jpeg"},
                                   {"README", "application/octet-stream"},
                                   {"dot.", "application/octet-stream"},
                                   {"pdf", "application/pdf"}}) {
    EXPECT_EQ(Upload(bucket, name, "1"), AERROR::SUCCESS);
    EXPECT_EQ(service->requests().back().Header("Content-Type"), type);
  }
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
  EXPECT_EQ(upload(bucket.c_str(), "", 1, &cache), AERROR::ACCESS_DENIED);
  EXPECT_EQ(upload(bucket.c_str(), "f", 1, nullptr), AERROR::FAILED);
  EXPECT_EQ(upload(bucket.c_str(), "f", UINT64_MAX, &cache), AERROR::FAILED);
  EXPECT_EQ(upload(bucket.c_str(), "", 1ULL << 40, &cache), AERROR::FAILED);
  EXPECT_EQ(upload("/", "f", 1ULL << 40, &cache), AERROR::ACCESS_DENIED);
  EXPECT_EQ(drive->Upload(bucket.c_str(), nullptr, &cache, nullptr, UPLOAD_DEFAULT, nullptr),
            AERROR::FAILED);
  EXPECT_TRUE(service->requests().empty());
}

TEST_F(UploadTest, FailuresEndOrStartAgainAndLeaveNothingHalf) {
  struct Row {
    const char* call;
    int status;
    AERROR result;
    std::size_t upload_urls;
  };
  const Row rows[] = {
      {"b2_upload_file", 401, AERROR::SUCCESS, 2},    {"b2_upload_file", 408, AERROR::SUCCESS, 2},
      {"b2_upload_file", 500, AERROR::SUCCESS, 2},    {"b2_upload_file", 429, AERROR::SUCCESS, 2},
      {"b2_upload_file", 503, AERROR::FAILED, 1},     {"b2_upload_file", 403, AERROR::FAILED, 1},
      {"b2_get_upload_url", 401, AERROR::FAILED, 1},  {"b2_get_upload_url", 500, AERROR::FAILED, 1},
      {"b2_get_upload_url", 503, AERROR::FAILED, 1},  {"b2_get_upload_url", 408, AERROR::FAILED, 1},
      {"b2_get_upload_url", 429, AERROR::SUCCESS, 2},
  };
  for (const Row& row : rows) {
    service->ClearRequests();
    Fail(row.call, row.status);
    const std::string name = std::string(row.call) + std::to_string(row.status);
    EXPECT_EQ(Upload(bucket, name, "contents"), row.result) << name;
    EXPECT_EQ(service->Count("b2_get_upload_url"), row.upload_urls) << name;
    EXPECT_EQ(Stored().size(), row.result == AERROR::SUCCESS ? 1U : 0U) << name;
    if (row.result == AERROR::SUCCESS) {
      _FS_FILE_V2 record;
      record.id = Records(bucket).at(0).id;
      EXPECT_EQ(drive->Delete(&record, nullptr), AERROR::SUCCESS);
    }
  }
  service->AddFault({.call = "b2_upload_file", .times = 2, .cut_request_after = 3});
  EXPECT_EQ(Upload(bucket, "cut", "contents"), AERROR::FAILED);
  for (const char* body : {"no JSON", "{}", R"({"uploadUrl":"https://x.backblazeb2.com/"})"}) {
    service->AddFault({.call = "b2_get_upload_url", .status = 200, .body = body});
    EXPECT_EQ(Upload(bucket, "f", "contents"), AERROR::FAILED) << body;
  }
  EXPECT_TRUE(Stored().empty());
  for (const char* body : {"no JSON", "{}", R"({"uploadTimestamp":1,"contentLength":8})"}) {
    service->AddFault({.call = "b2_upload_file", .status = 200, .body = body});
    EXPECT_EQ(Upload(bucket, "f", "contents"), AERROR::FAILED) << body;
  }
}

TEST_F(UploadTest, ConnectionClosedWhileIdleDoesNotFailIt) {
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(Upload(bucket, "f" + std::to_string(i), std::string(100'000, 'x')), AERROR::SUCCESS);
    service->CloseIdleConnections();
  }
  EXPECT_EQ(Stored().size(), 5U);
}

TEST_F(UploadTest, CancellationAndFailedReadsAreCanceled) {
  const std::string contents(3'000'000, 'x');
  MemoryCache cache(contents);
  const auto handle = NewHandle();
  cache.on_read = [&](long long offset) {
    if (offset > 1'000'000) {
      std::thread([&] { handle->transfer->state = TRANSFER_CANCELED; }).join();
    }
  };
  _FS_FILE_V2 file = NewFile("f", contents.size());
  EXPECT_EQ(drive->Upload(bucket.c_str(), handle, &cache, &file, UPLOAD_DEFAULT, nullptr),
            AERROR::UPLOAD_CANCELED);
  MemoryCache broken(contents);
  broken.fails = true;
  EXPECT_EQ(drive->Upload(bucket.c_str(), NewHandle(), &broken, &file, UPLOAD_DEFAULT, nullptr),
            AERROR::UPLOAD_CANCELED);
  EXPECT_TRUE(Stored().empty());
}

TEST_F(UploadTest, ProgressReachesTheEnd) {
  long long seen = 0;
  const auto handle = NewHandle();
  handle->progress = [](long long, long long now, void* context, double) {
    *static_cast<long long*>(context) = now;
  };
  handle->progress_context = &seen;
  MemoryCache cache(std::string(200'000, 'x'));
  _FS_FILE_V2 file = NewFile("f", 200'000);
  EXPECT_EQ(drive->Upload(bucket.c_str(), handle, &cache, &file, UPLOAD_DEFAULT, nullptr),
            AERROR::SUCCESS);
  EXPECT_EQ(seen, 200'000);
  EXPECT_EQ(handle->transfer->offset.load(), 200'000);
}
