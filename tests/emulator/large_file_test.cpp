#include "client.h"

namespace emulator {
namespace {

class LargeFileTest : public EmulatorTest {
 protected:
  Reply Finish(const std::string& id, const std::vector<std::string>& sha1s) {
    return Call("b2_finish_large_file", {{"fileId", id}, {"partSha1Array", sha1s}});
  }

  const std::string ten_ = "0123456789";
  const std::string four_ = "tail";
};

TEST_F(LargeFileTest, PartsInAnyOrderBecomeOneFile) {
  const json start = Call("b2_start_large_file", {{"bucketId", bucket_.id},
                                                  {"fileName", "big"},
                                                  {"contentType", "x/y"},
                                                  {"fileInfo", {{"large_file_sha1", "f00"}}}})
                         .Json();
  const std::string id = start["fileId"];
  const json target = UploadTarget(id);
  EXPECT_EQ(UploadPart(target, 2, four_).Outcome(), "200");
  EXPECT_EQ(UploadPart(target, 1, "replaced!!").Outcome(), "200");
  EXPECT_EQ(UploadPart(UploadTarget(id), 1, ten_).Outcome(), "200");
  AddText(store(), "photos", "big", "newer");
  EXPECT_EQ(Call("b2_list_parts", {{"fileId", id}, {"maxPartCount", 1}}).Json()["nextPartNumber"],
            2);

  const json done = Finish(id, {Sha1Of(ten_), Sha1Of(four_)}).Json();
  EXPECT_EQ(done["contentLength"], 14);
  EXPECT_EQ(done["contentSha1"], "none");
  EXPECT_EQ(done["uploadTimestamp"], start["uploadTimestamp"]);
  // The file is as old as its start.
  EXPECT_EQ(VersionsText(), "big=newer big=0123456789tail");
  EXPECT_EQ(Finish(id, {Sha1Of(ten_), Sha1Of(four_)}).Outcome(), "400 bad_request");
  EXPECT_EQ(UploadPart(target, 3, four_).Outcome(), "400 bad_request");
}

TEST_F(LargeFileTest, FinishChecksTheParts) {
  const std::string id = Start("big");
  const json target = UploadTarget(id);
  UploadPart(target, 1, ten_);
  for (const int number : {2, 3, 5}) UploadPart(target, number, four_);
  const std::string ten = Sha1Of(ten_), four = Sha1Of(four_);
  const std::pair<std::vector<std::string>, const char*> rows[] = {
      {{}, "400 bad_request"},
      {{ten}, "400 bad_request"},
      {{ten, ten}, "400 part_sha1_mismatch"},
      {{ten, four, four}, "400 bad_request"},  // the second is too small for an inner part
      {{ten, four, four, four}, "400 bad_request"},
  };
  for (const auto& [sha1s, outcome] : rows) {
    EXPECT_EQ(Finish(id, sha1s).Outcome(), outcome) << json(sha1s);
  }
  for (const int number : {2, 3}) UploadPart(target, number, ten_);
  EXPECT_EQ(Finish(id, {ten, ten, ten, four}).Outcome(), "400 missing_part");
  EXPECT_EQ(Finish(id, {ten, "unverified:" + ten}).Outcome(), "200");
}

TEST_F(LargeFileTest, PartsAreChecked) {
  const json target = UploadTarget(Start("big"));
  const std::string sha1 = "X-Bz-Content-Sha1: " + Sha1Of(four_);
  const std::pair<Headers, const char*> rows[] = {
      {{"X-Bz-Part-Number: 0", sha1}, "400 bad_request"},
      {{"X-Bz-Part-Number: 10001", sha1}, "400 bad_request"},
      {{"X-Bz-Part-Number: one", sha1}, "400 bad_request"},
      {{sha1}, "400 bad_request"},
      {{"X-Bz-Part-Number: 1", "X-Bz-Content-Sha1: " + Sha1Of("other")}, "400 bad_request"},
      {{"X-Bz-Part-Number: 10000", sha1}, "200"},
      {{"X-Bz-Part-Number: 1", "X-Bz-Content-Sha1: do_not_verify"}, "200"},
  };
  for (const auto& [headers, outcome] : rows) {
    EXPECT_EQ(Upload(target, headers, four_).Outcome(), outcome) << json(headers);
  }
  EXPECT_EQ(store().Parts(target["fileId"]).size(), 2U);
}

TEST_F(LargeFileTest, CopiedPartsAndCancelling) {
  const VersionPtr source = AddText(store(), "photos", "source", ten_ + four_);
  const std::string id = Start("big"), third = Start("third");
  json part{{"sourceFileId", source->Id()}, {"largeFileId", id}, {"partNumber", 2}};
  EXPECT_EQ(Call("b2_copy_part", part).Json()["contentLength"], 14);
  part.update({{"partNumber", 1}, {"range", "bytes=0-9"}});
  EXPECT_EQ(Call("b2_copy_part", part).Json()["contentSha1"], Sha1Of(ten_));
  const json unfinished =
      Call("b2_list_unfinished_large_files", {{"bucketId", bucket_.id}, {"maxFileCount", 1}})
          .Json();
  EXPECT_EQ(unfinished["files"][0]["fileId"], id);
  EXPECT_EQ(unfinished["nextFileId"], third);
  EXPECT_EQ(Finish(id, {Sha1Of(ten_), Sha1Of(ten_ + four_)}).Outcome(), "200");
  EXPECT_EQ(ReadText(store(), "photos", "big"), ten_ + ten_ + four_);
  EXPECT_EQ(Call("b2_cancel_large_file", {{"fileId", id}}).Outcome(), "400 bad_request");
  EXPECT_EQ(Call("b2_delete_file_version", {{"fileId", third}, {"fileName", "third"}}).Outcome(),
            "200");
  EXPECT_EQ(store().UnfinishedCount(), 0U);
}

TEST(SinglePartTest, IsAllowedOnRequest) {
  Store store({.minimum_part_size = 10, .allow_single_part = true});
  const std::string bucket = store.CreateBucket({.name = "photos"}).id;
  const std::string id = store.StartLarge(bucket, {.name = "big"})->Id();
  const ContentPtr content = Content::FromText("small");
  store.AddPart(id, 1, content);
  EXPECT_THROW(store.FinishLarge(id, {}), std::runtime_error);
  EXPECT_EQ(store.FinishLarge(id, {content->sha1})->content->Text(), "small");
}

}  // namespace
}  // namespace emulator
