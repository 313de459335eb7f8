#include "tests/support/drive_test.h"

namespace {

using testing::ElementsAre, testing::MatchesRegex;

class ViewsTest : public DriveTest {
 protected:
  // "name action size" for each record; "name/" for folders.
  Texts Shown(Text id) {
    Texts shown;
    for (const auto& record : Records(id)) {
      const bool folder = record.type == FS_DIRECTORY;
      shown.push_back(record.name + (folder ? "/" : " " + record.texts.at(0) + " ") +
                      (folder ? "" : std::to_string(record.size)));
    }
    return shown;
  }
  std::string StartLarge(Text name, std::initializer_list<const char*> parts) {
    const auto start = store().StartLarge(bucket, {name, "a/b", {{"src_size", "9"}}});
    int number = 0;
    for (const char* part : parts)
      store().AddPart(start->Id(), ++number, emulator::Content::FromText(part));
    return bucket + "/" + start->Id();
  }
};

TEST_F(ViewsTest, VersionsAreShownReadAndDeletedOneByOne) {
  SetOpt("view", "Versions");
  SetOpt("view", "no such view");
  EXPECT_TRUE(log.Contains("4 [PROTOCOL  ] SetOpt >> There is no view"));
  const std::string old = Store("d/a", "old");
  Store("d/a", "newer");
  Store("d/gone/b", "b");
  Store("d/a-", "beside");
  Hide("d/a");
  Hide("d/gone/b");
  StartLarge("d/a", {"unfinished"});
  EXPECT_THAT(Shown(bucket + "/d"),
              ElementsAre("a action=hide 0", "a action=upload 5", "a action=upload 3",
                          "a- action=upload 6", "gone/"));
  EXPECT_THAT(Records(bucket + "/d").at(2).first_time, MatchesRegex("....-..-..T..:..:..[.]...Z"));
  EXPECT_EQ(List(""), Texts{"bucket/"});
  SetOpt("view_name", "a");
  // However the pages are cut, none comes twice.
  for (int i = 0; i < 1000; ++i) Store("d/a", "");
  Hide("d/a");
  service->ClearRequests();
  const auto records = Records(bucket + "/d");
  EXPECT_EQ(records.size(), 1004U);
  EXPECT_EQ(service->Count("b2_list_file_versions"), 2U);
  EXPECT_EQ(records.back().id, old);
  EXPECT_EQ(ReadAll(old, 3), "old");
  _FS_FILE_V2 marker = RecordOf("a", 9, records.front().id);
  EXPECT_EQ(drive->GetFileInfo(marker.id.c_str(), &marker, nullptr), SUCCESS);
  EXPECT_EQ(std::tie(marker.size, marker.texts.at(0)), std::make_tuple(0U, "action=hide"));
  FetchedBytes bytes;
  EXPECT_EQ(Read(marker.id, 0, 1, bytes), FAILED);
  SetOpt("hide_on_delete", "true");
  for (Text id : {marker.id, marker.id, old}) EXPECT_EQ(Delete(id), SUCCESS);
  EXPECT_EQ(Shown(bucket + "/d").size(), 1002U);
  EXPECT_EQ(Shown(bucket + "/d").front(), "a action=upload 0");
  Fail("b2_get_file_info", 503);
  EXPECT_EQ(Delete(records.at(5).id), FAILED);
}

TEST_F(ViewsTest, AVersionComesToTheTopAgainAndNothingGoes) {
  SetOpt("view", "versions");
  SetOpt("server_copy", "keep");
  const std::string old = Store("a", "old");
  Store("a", "new");
  Hide("a");
  _FS_FILE_V2 out;
  EXPECT_EQ(drive->Rename(old.c_str(), "a", &out, nullptr), SUCCESS);
  EXPECT_EQ(drive->Move(old.c_str(), (bucket + "/d").c_str(), &out, nullptr), SUCCESS);
  EXPECT_THAT(Versions("a"), ElementsAre("old", emulator::kHidden, "new", "old"));
  EXPECT_THAT(Versions("d/a"), ElementsAre("old"));
}

TEST_F(ViewsTest, UnfinishedFilesAreShownWithWhatTheyHoldAndCanceled) {
  SetOpt("view", "unfinished");
  Store("d/a", "finished");
  const std::string first = StartLarge("d/e/b", {"123", "4567"});
  StartLarge("d/a", {});
  StartLarge("other", {"1"});
  EXPECT_THAT(Shown(bucket + "/d"), ElementsAre("e/b action=start 7", "a action=start 0"));
  EXPECT_EQ(List(bucket).size(), 3U);
  SetOpt("view_name", "a");
  EXPECT_THAT(Shown(bucket + "/d"), ElementsAre("a action=start 0"));
  SetOpt("view_name", "");
  SetOpt("file_details", "true");
  _FS_FILE_V2 info = RecordOf("b", 0, first);
  EXPECT_EQ(drive->GetFileInfo(first.c_str(), &info, nullptr), SUCCESS);
  EXPECT_EQ(info.size, 7U);
  EXPECT_EQ(info.texts, (std::deque<std::string>{"type=a/b", "action=start", "info.src_size=9"}));
  EXPECT_EQ(DeleteDirectory(bucket + "/d"), NOT_SUPPORTED);
  for (const AERROR result : {SUCCESS, FILE_NOT_FOUND}) EXPECT_EQ(Delete(first), result);
  EXPECT_EQ(drive->GetFileInfo(first.c_str(), &info, nullptr), FILE_NOT_FOUND);
  // One that goes between the listing and its parts.
  service->OnRequest([this](const emulator::Request& request) {
    const auto unfinished = store().Unfinished(bucket);
    if (request.call == "b2_list_parts" && unfinished.size() == 2)
      store().CancelLarge(unfinished.front()->Id());
  });
  EXPECT_EQ(List(bucket), Texts{"other"});
  service->OnRequest({});
  Fail("b2_list_parts", 503);
  Records(bucket, FAILED);
  EXPECT_THAT(Stored(), ElementsAre("d/a"));
}

}  // namespace
