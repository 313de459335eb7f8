#include "client.h"

namespace emulator {
namespace {

class KeyTest : public EmulatorTest {
 protected:
  KeyTest() : other_(EnsureBucket(store(), "elsewhere")) {
    for (const char* name : {"in/a", "in/b", "out"}) {
      AddText(store(), "photos", name, name);
    }
    AddText(store(), "elsewhere", "in/a", "other");
  }

  void UseKey(Key wanted) {
    const KeyPtr key = emulator_.AddKey(std::move(wanted));
    Login(key->id + ":" + key->secret);
  }

  // Names of the entries of an answer, or the refusal.
  std::string Names(const Reply& reply, const char* list, const char* name) {
    std::string names = reply.status == 200 ? "" : reply.Outcome();
    const json answer = reply.Json();
    for (const json& entry : answer.value(list, json::array()))
      names += entry[name].get<std::string>() + " ";
    return names;
  }

  std::string Buckets(int version, json fields = json::object()) {
    fields["accountId"] = emulator_.account_id();
    return Names(Call("b2_list_buckets", fields, version), "buckets", "bucketName");
  }

  std::string Files(int version, const std::string& prefix, const std::string& bucket_id) {
    return Names(Call("b2_list_file_names", {{"bucketId", bucket_id}, {"prefix", prefix}}, version),
                 "files", "fileName");
  }

  Bucket other_;
};

TEST_F(KeyTest, BucketAndPrefixLimitWhatAKeyReaches) {
  constexpr const char* kNo = "401 unauthorized";
  UseKey({.capabilities = AllCapabilities(), .bucket_id = bucket_.id, .name_prefix = "in/"});
  EXPECT_EQ(Buckets(1), "photos ");
  EXPECT_EQ(Buckets(2), kNo);
  EXPECT_EQ(Buckets(2, {{"bucketName", "photos"}}), "photos ");
  EXPECT_EQ(Buckets(2, {{"bucketId", other_.id}}), kNo);
  EXPECT_EQ(Files(1, "", bucket_.id), "in/a in/b ");
  EXPECT_EQ(Files(1, "out", bucket_.id), "");
  EXPECT_EQ(Files(2, "", bucket_.id), kNo);
  EXPECT_EQ(Files(2, "in/b", bucket_.id), "in/b ");
  EXPECT_EQ(Files(1, "", other_.id), kNo);
  EXPECT_EQ(Download("in/a").Outcome(), "200");
  EXPECT_EQ(Download("out").Outcome(), kNo);
  EXPECT_EQ(UploadFile(UploadTarget(), "new", "x").Outcome(), kNo);
  const std::string id = AllVersions(store(), "elsewhere")[0]->Id();
  const json fields{{"bucketId", other_.id}, {"fileId", id}, {"fileName", "in/a"}};
  for (const char* call : {"b2_get_upload_url", "b2_get_file_info", "b2_delete_file_version"}) {
    EXPECT_EQ(Call(call, fields).Outcome(), kNo) << call;
  }
}

TEST_F(KeyTest, CapabilitiesAndLife) {
  UseKey({.capabilities = {"listFiles"}});
  EXPECT_EQ(Files(1, "", bucket_.id), "in/a in/b out ");
  EXPECT_EQ(Call("b2_get_upload_url", {{"bucketId", bucket_.id}}).Outcome(), "401 unauthorized");
  EXPECT_EQ(Download("out").Outcome(), "401 unauthorized");
  UseKey({.capabilities = {"listFiles"}, .expires = 1});
  EXPECT_EQ(token_, "");
}

TEST_F(KeyTest, DownloadAuthorizationsReachOnePrefixByName) {
  const json grant = Call("b2_get_download_authorization", {{"bucketId", bucket_.id},
                                                            {"fileNamePrefix", "in/"},
                                                            {"validDurationInSeconds", 60},
                                                            {"b2ContentType", "a/b"}})
                         .Json();
  token_ = grant["authorizationToken"];
  EXPECT_EQ(Download("in/a?b2ContentType=a/b").headers["content-type"], "a/b");
  EXPECT_EQ(Download("in/a").Outcome(), "401 unauthorized");
  EXPECT_EQ(Download("out?b2ContentType=a/b").Outcome(), "401 unauthorized");
  const std::string url = "https://f001.backblazeb2.com/file/photos/in/b?b2ContentType=a/b";
  EXPECT_EQ(client_.Send(url + "&Authorization=" + token_).body, "in/b");
  EXPECT_EQ(Files(1, "", bucket_.id), "401 bad_auth_token");
}

TEST_F(KeyTest, PublicBucketsNeedATokenOnlyForOverrides) {
  store().UpdateBucket(bucket_.id, {.type = "allPublic"});
  const std::string url = "https://f001.backblazeb2.com/file/photos/out";
  EXPECT_EQ(client_.Send(url).body, "out");
  EXPECT_EQ(client_.Send(url + "?b2ContentType=a/b").Outcome(), "401 missing_auth_token");
}

}  // namespace
}  // namespace emulator
