#include "tests/support/drive_test.h"

namespace {

using testing::ElementsAre, testing::IsEmpty;

class RenamingTest : public DriveTest {
 protected:
  RenamingTest() : DriveTest(1000) { SetOpt("server_copy", "true"); }

  AERROR Rename(Text id, Text name, _FS_FILE_V2& out) {
    return drive->Rename(id.c_str(), name.c_str(), &out, nullptr);
  }
  AERROR Move(Text id, Text folder, Text name = "") {
    _FS_FILE_V2 out = RecordOf(name);
    return drive->Move(id.c_str(), folder.c_str(), &out, nullptr);
  }
  AERROR MoveDir(Text id, Text folder, Text name) {
    _FS_FILE_V2 out = RecordOf(name);
    return drive->MoveDir(id.c_str(), folder.c_str(), &out, nullptr);
  }
};

TEST_F(RenamingTest, AFileGoesUnderItsNewNameAndExactlyItsVersionsGo) {
  Store("d/a", "old");
  Store("d/a.bak", "other");
  const std::string id = Store("d/a", "new");
  _FS_FILE_V2 out;
  EXPECT_EQ(Rename(id, "b", out), SUCCESS);
  EXPECT_THAT(Stored(), ElementsAre("d/a.bak", "d/b"));
  EXPECT_THAT(Versions("d/a"), IsEmpty());
  EXPECT_EQ(std::tie(out.name, out.size, out.type), std::make_tuple("b", 3U, FS_FILE));
  EXPECT_EQ(ReadAll(out.id, 3), "new");
  EXPECT_EQ(Move(out.id, bucket + "/e/f"), SUCCESS);
  EXPECT_THAT(Versions("e/f/b"), ElementsAre("new"));
  EXPECT_EQ(Move(bucket + "/" + Put("e/f/b", "newer")->Id(), bucket, "c"), SUCCESS);
  EXPECT_EQ(Stored(), (Texts{"c", "d/a.bak"}));
}

TEST_F(RenamingTest, TheSameNameTakesOtherDetails) {
  Set("file_details=true copy_part_size=1000");
  for (const int size : {3, 3500}) {
    Store("a", "old");
    _FS_FILE_V2 out;
    out.texts = {"type=a/b", "info.k=v"};
    const std::string text(static_cast<std::size_t>(size), 'x');
    EXPECT_EQ(Rename(Store("a", text), "a", out), SUCCESS);
    EXPECT_THAT(Versions("a"), ElementsAre(text));
    const auto copy = emulator::VersionsOf(store(), "bucket", "a").front();
    EXPECT_EQ(std::tie(copy->content_type, copy->info),
              std::make_tuple("a/b", emulator::FileInfo{{"k", "v"}}));
  }
}

TEST_F(RenamingTest, ANewerVersionStaysAndNamesAreNames) {
  const std::string id = Store("a", "x");
  Store("a", "of another client");
  _FS_FILE_V2 out;
  EXPECT_EQ(Rename(id, "c", out), SHARING_VIOLATION);
  EXPECT_THAT(Versions("a"), ElementsAre("of another client", "x"));
  for (const char* name : {"", "x/y", "/"}) EXPECT_EQ(Rename(id, name, out), INVALID_PARAMETER);
  EXPECT_EQ(Move(id, ""), INVALID_PARAMETER);
}

TEST_F(RenamingTest, AFolderGoesWithEverythingAndAFurtherCallGoesOn) {
  for (const char* name : {"d/.bzEmpty", "d/a", "d/e/b", "dd"}) Store(name, name);
  EXPECT_EQ(MoveDir(bucket + "/d", bucket + "/d/e", "f"), INVALID_PARAMETER);
  EXPECT_EQ(MoveDir(bucket, bucket, "f"), INVALID_PARAMETER);
  for (const auto& [call, skip] : {std::pair("b2_copy_file", 1), {"b2_delete_file_version", 0}}) {
    Fail(call, 503, 1, skip);
    EXPECT_EQ(MoveDir(bucket + "/d", bucket + "/g", "h"), FAILED);
  }
  EXPECT_EQ(MoveDir(bucket + "/d", bucket + "/g", "h"), SUCCESS);
  EXPECT_THAT(Stored(), ElementsAre("dd", "g/h/.bzEmpty", "g/h/a", "g/h/e/b"));
  EXPECT_EQ(StoredIn(store())["g/h/e/b"], "d/e/b");
  for (Text name : Stored()) EXPECT_EQ(Versions(name).size(), 1U) << name;
}

TEST_F(RenamingTest, LargeFilesAreCopiedInPartsWithAllThatIsStoredWithThem) {
  SetOpt("copy_part_size", "1000");
  const std::string text(3500, 'x');
  const auto source = emulator::AddText(store(), "bucket", "a", text, {{"k", "v"}});
  _FS_FILE_V2 out;
  EXPECT_EQ(Rename(bucket + "/" + source->Id(), "b", out), SUCCESS);
  EXPECT_EQ(std::tie(out.name, out.size), std::make_tuple("b", 3500U));
  EXPECT_EQ(StoredIn(store()), (Contents{{"b", text}}));
  const auto copy = emulator::VersionsOf(store(), "bucket", "b").front();
  EXPECT_EQ(copy->content_type, source->content_type);
  EXPECT_EQ(copy->info,
            (emulator::FileInfo{{"k", "v"}, {"large_file_sha1", source->content->sha1}}));
  EXPECT_EQ(service->Count("b2_copy_part"), 4U);
  EXPECT_EQ(service->Count("b2_download_file_by_id") + service->Count("b2_upload_part"), 0U);
}

TEST_F(RenamingTest, HidingKeepsEveryVersion) {
  SetOpt("hide_on_delete", "true");
  Store("d/a", "old");
  const std::string id = Store("d/a", "new");
  for (const char* careful : {"false", "true"}) {
    SetOpt("exact_delete", careful);
    SetOpt("delete_if_unchanged", careful);
    const std::string b = Store("d/b", "b");
    EXPECT_EQ(Delete(b), SUCCESS);
    EXPECT_THAT(Versions("d/b"), ElementsAre(emulator::kHidden, "b"));
    EXPECT_EQ(Delete(b), *careful == 'f' ? SUCCESS : SHARING_VIOLATION);  // the marker is newer
    Remove("d/b");
  }
  _FS_FILE_V2 out;
  EXPECT_EQ(Rename(id, "c", out), SUCCESS);
  EXPECT_THAT(Versions("d/a"), ElementsAre(emulator::kHidden, "new", "old"));
  Store("dd", "beside");
  EXPECT_EQ(DeleteDirectory(bucket + "/d"), SUCCESS);
  EXPECT_THAT(Stored(), ElementsAre("dd"));
  EXPECT_THAT(Versions("d/c"), ElementsAre(emulator::kHidden, "new"));
}

}  // namespace
