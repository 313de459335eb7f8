#include <set>

#include "client.h"

namespace emulator {
namespace {

using ShapeTest = EmulatorTest;
using Keys = std::set<std::string>;

// The keys that `wider` has beyond `narrower`, and with "-" in front the other way round.
Keys Difference(const json& wider, const json& narrower) {
  Keys keys;
  for (const auto& [key, value] : wider.items()) {
    if (!narrower.contains(key)) keys.insert(key);
  }
  for (const auto& [key, value] : narrower.items()) {
    if (!wider.contains(key)) keys.insert("-" + key);
  }
  return keys;
}

TEST_F(ShapeTest, VersionsOfTheApiDifferAsClientsExpect) {
  AddText(store(), "photos", "a", "text");
  store().Hide(bucket_.id, "a");
  const json fields{{"bucketId", bucket_.id}, {"accountId", emulator_.account_id()}};
  const auto both = [&](const char* call, const char* list, size_t index) {
    return Difference(Call(call, fields, 2).Json()[list][index],
                      Call(call, fields, 1).Json()[list][index]);
  };
  Keys file{"-size", "accountId", "bucketId", "contentMd5"};
  EXPECT_EQ(both("b2_list_file_versions", "files", 0), file);
  file.merge(Keys{"fileRetention", "legalHold", "serverSideEncryption"});
  EXPECT_EQ(both("b2_list_file_versions", "files", 1), file);
  EXPECT_EQ(both("b2_list_buckets", "buckets", 0),
            (Keys{"options", "defaultServerSideEncryption", "fileLockConfiguration",
                  "replicationConfiguration"}));
}

TEST_F(ShapeTest, AuthorizeInThreeShapes) {
  const auto authorize = [&](const std::string& version, const std::string& key) {
    return client_.Send("https://" + emulator_.account_id() + ":" + key +
                        "@api.backblazeb2.com/b2api/" + version + "/b2_authorize_account");
  };
  const json v1 = authorize("v1", emulator_.key()).Json();
  EXPECT_EQ(v1["recommendedPartSize"], 20);
  EXPECT_EQ(v1["absoluteMinimumPartSize"], 10);
  EXPECT_EQ(v1["apiUrl"], "https://api001.backblazeb2.com");
  EXPECT_EQ(v1["allowed"]["bucketId"], nullptr);
  EXPECT_EQ(Difference(authorize("v2", emulator_.key()).Json(), v1),
            (Keys{"s3ApiUrl", "-minimumPartSize"}));
  const json v3 = authorize("v3", emulator_.key()).Json();
  EXPECT_EQ(Difference(v3, v1), (Keys{"apiInfo", "applicationKeyExpirationTimestamp", "-allowed",
                                      "-apiUrl", "-downloadUrl", "-recommendedPartSize",
                                      "-absoluteMinimumPartSize", "-minimumPartSize"}));
  EXPECT_EQ(v3["apiInfo"]["storageApi"]["namePrefix"], nullptr);
  Reply wrong = authorize("v1", "wrong");
  EXPECT_EQ(wrong.Outcome(), "401 bad_auth_token");
  EXPECT_TRUE(wrong.headers.contains("www-authenticate"));
}

}  // namespace
}  // namespace emulator
