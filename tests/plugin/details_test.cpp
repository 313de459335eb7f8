#include "tests/support/drive_test.h"

namespace {

using testing::ElementsAre, testing::Not;

constexpr int kPart = 1000;  // bytes; what is larger goes up in parts
constexpr char kTime[] = "2001-02-03T04:05:06.789Z";
constexpr char kMilliseconds[] = "981173106789";

class DetailsTest : public DriveTest {
 protected:
  DetailsTest() : DriveTest(kPart) {
    SetOpt("keep_times", "true");
    SetOpt("file_details", "True");
  }

  // Stores `name` with a time and these texts.
  AERROR PutWith(Text name, int size, const std::deque<std::string>& texts, _FS_FILE_V2& file,
                 Text time = kTime) {
    MemoryCache cache(std::string(static_cast<std::size_t>(size), 'x'));
    file = RecordOf(name, cache.bytes.size());
    file.second_time = time;
    file.texts = texts;
    return UploadFrom(cache, bucket, file);
  }
  emulator::VersionPtr Newest(Text name) {
    return emulator::VersionsOf(store(), "bucket", name).front();
  }
};

TEST_F(DetailsTest, WhatIsStoredWithAFileIsShownAgain) {
  for (const int size : {5, 2 * kPart + 1}) {
    _FS_FILE_V2 file;
    const std::string name = size < kPart ? "a.txt" : "b.txt";
    ASSERT_EQ(PutWith(name, size, {"type=a/b", "info.Key=ü = 1", "sha1=0"}, file), SUCCESS);
    const emulator::FileInfo info{{"key", "ü = 1"}, {"src_last_modified_millis", kMilliseconds}};
    EXPECT_EQ(Newest(name)->info, info);
    EXPECT_EQ(Newest(name)->content_type, "a/b");
    _FS_FILE_V2 asked = RecordOf(name);
    EXPECT_EQ(drive->GetFileInfo(file.id.c_str(), &asked, nullptr), SUCCESS);
    const auto listed = Records(bucket).back();
    for (const _FS_FILE_V2& record : {file, asked, listed}) {
      EXPECT_EQ(record.second_time, kTime);
      EXPECT_THAT(record.first_time, Not(kTime));
      std::vector<std::string> texts(record.texts.begin(), record.texts.end());
      if (size < kPart) {
        EXPECT_EQ(texts.front().size(), std::string("sha1=").size() + 40);
        texts.erase(texts.begin());
      }
      EXPECT_THAT(texts,
                  ElementsAre("type=a/b", "action=upload", "info.key=ü = 1",
                              "info.src_last_modified_millis=" + std::string(kMilliseconds)));
    }
  }
}

TEST_F(DetailsTest, TimesOfOthersAreShownAsFarAsTheyAreTimes) {
  const std::tuple<const char*, const char*> rows[] = {
      {"-1", "1969-12-31T23:59:59.999Z"}, {"0", "1970-01-01T00:00:00.000Z"}, {"noon", ""}};
  for (const auto& [text, shown] : rows) {
    emulator::AddText(store(), "bucket", "f", "x", {{"src_last_modified_millis", text}});
    const auto record = Records(bucket).back();
    EXPECT_EQ(record.second_time, *shown == '\0' ? record.first_time : shown);
  }
  _FS_FILE_V2 file;
  EXPECT_EQ(PutWith("g", 5, {}, file, "no time"), SUCCESS);
  EXPECT_TRUE(Newest("g")->info.empty());
}

TEST_F(DetailsTest, WhatTheServiceDoesNotTakeIsNotSent) {
  std::deque<std::string> eleven;  // with the time
  for (int i = 0; i < 10; ++i) eleven.push_back("info." + std::to_string(i) + "=");
  std::vector<std::deque<std::string>> rows = {eleven};
  const std::string too_long = "info." + std::string(51, 'k') + "=x";
  for (Text text : Texts{"info.=x", "info.key", "info.a b=x", "info.b2-x=x",
                         "type=", "type=a\r\nX-Bz-Y: z", too_long})
    rows.push_back({text});
  service->ClearRequests();
  for (const auto& texts : rows) {
    for (const int size : {5, 2 * kPart}) {
      _FS_FILE_V2 file;
      EXPECT_EQ(PutWith("f", size, texts, file), INVALID_PARAMETER) << texts.front();
      EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] FileDetails >> The service takes no ["));
    }
  }
  EXPECT_TRUE(service->requests().empty());
}

}  // namespace
