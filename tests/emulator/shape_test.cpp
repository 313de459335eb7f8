#include <set>

#include "client.h"

namespace emulator {
namespace {

class ShapeTest : public EmulatorTest {
 protected:
  // The keys that `wider` has beyond `narrower`, or the other way round with "-" in front.
  static std::set<std::string> Difference(const json& wider, const json& narrower) {
    std::set<std::string> keys;
    for (const auto& [key, value] : wider.items()) {
      if (!narrower.contains(key)) keys.insert(key);
    }
    for (const auto& [key, value] : narrower.items()) {
      if (!wider.contains(key)) keys.insert("-" + key);
    }
    return keys;
  }
};

using Keys = std::set<std::string>;

TEST_F(ShapeTest, VersionsOfTheApiDifferAsClientsExpect) {
  AddText(store(), "photos", "a", "text");
  store().Hide(bucket_.id, "a");
  const auto both = [&](const char* name, const json& fields, const char* list, size_t index) {
    return Difference(Call(name, fields, 2).Json()[list][index],
                      Call(name, fields, 1).Json()[list][index]);
  };
  const json versions{{"bucketId", bucket_.id}};
  EXPECT_EQ(both("b2_list_file_versions", versions, "files", 0),
            (Keys{"-size", "accountId", "bucketId", "contentMd5"}));
  EXPECT_EQ(both("b2_list_file_versions", versions, "files", 1),
            (Keys{"-size", "accountId", "bucketId", "contentMd5", "fileRetention", "legalHold",
                  "serverSideEncryption"}));
  EXPECT_EQ(both("b2_list_buckets", {{"accountId", emulator_.account_id()}}, "buckets", 0),
            (Keys{"options", "defaultServerSideEncryption", "fileLockConfiguration",
                  "replicationConfiguration"}));
}

TEST_F(ShapeTest, AuthorizeInThreeShapes) {
  const std::string login = emulator_.account_id() + ":" + emulator_.key();
  const auto authorize = [&](const std::string& version, const std::string& who,
                             const std::optional<std::string>& body = {}) {
    return client_.Send(
        "https://" + who + "@api.backblazeb2.com/b2api/" + version + "/b2_authorize_account", {},
        body);
  };
  const json v1 = authorize("v1", login).Json();
  EXPECT_EQ(v1["recommendedPartSize"], 20);
  EXPECT_EQ(v1["absoluteMinimumPartSize"], 10);
  EXPECT_EQ(v1["apiUrl"], "https://api001.backblazeb2.com");
  EXPECT_EQ(v1["allowed"]["bucketId"], nullptr);
  const json v2 = authorize("v2", login, "{}").Json();
  EXPECT_EQ(Difference(v2, v1), (Keys{"s3ApiUrl", "-minimumPartSize"}));
  const json v3 = authorize("v3", login).Json();
  EXPECT_EQ(Difference(v3, v1), (Keys{"apiInfo", "applicationKeyExpirationTimestamp", "-allowed",
                                      "-apiUrl", "-downloadUrl", "-recommendedPartSize",
                                      "-absoluteMinimumPartSize", "-minimumPartSize"}));
  EXPECT_EQ(v3["apiInfo"]["storageApi"]["namePrefix"], nullptr);
  Reply wrong = authorize("v1", emulator_.account_id() + ":wrong");
  EXPECT_EQ(wrong.Outcome(), "401 bad_auth_token");
  EXPECT_TRUE(wrong.headers.contains("www-authenticate"));
}

TEST_F(ShapeTest, BucketsKeepWhatTheyAreGiven) {
  const auto call = [&](const char* name, json fields) {
    fields["accountId"] = emulator_.account_id();
    return Call(name, fields).Json();
  };
  json bucket = call("b2_create_bucket", {{"bucketName", "a-bucket"},
                                          {"bucketType", "allPublic"},
                                          {"bucketInfo", {{"k", "v"}}},
                                          {"lifecycleRules", {{{"fileNamePrefix", "x"}}}}});
  EXPECT_EQ(bucket["lifecycleRules"][0]["fileNamePrefix"], "x");
  const json id = bucket["bucketId"];
  bucket["bucketType"] = "allPrivate";
  bucket["revision"] = 2;
  EXPECT_EQ(call("b2_update_bucket",
                 {{"bucketId", id}, {"ifRevisionIs", 1}, {"bucketType", "allPrivate"}}),
            bucket);
  bucket["revision"] = 3;
  EXPECT_EQ(call("b2_delete_bucket", {{"bucketId", id}}), bucket);
}

}  // namespace
}  // namespace emulator
