#include "client.h"
#include "emulator/names.h"

namespace emulator {
namespace {

using RefusalTest = EmulatorTest;

TEST_F(RefusalTest, CallsRefuseWhatDoesNotFit) {
  AddText(store(), "photos", "a", "text");
  const json file{{"fileId", AllVersions(store(), "photos")[0]->Id()}};
  const json large{{"fileId", Start("large")}};
  std::string unknown = file["fileId"];
  unknown[40] = 'f';
  const json account{{"accountId", emulator_.account_id()}};
  json bucket = account, create = account;
  bucket["bucketId"] = bucket_.id;
  create.update({{"bucketName", "bucket"}, {"bucketType", "allPrivate"}});
  const json copy{{"sourceFileId", file["fileId"]}, {"fileName", "b"}};
  struct Row {
    const char* call;
    json fields, more;
    const char* outcome = "400 bad_request";
  };
  const Row rows[] = {
      {"b2_list_buckets", {}, {}},
      {"b2_list_buckets", {}, {{"accountId", "000000000000"}}},
      {"b2_list_buckets", {}, {{"accountId", 5}}},
      {"b2_list_buckets", account, {{"bucketTypes", json::array()}}},
      {"b2_list_buckets", account, {{"bucketTypes", {"all", "shared"}}}},
      {"b2_list_buckets", account, {{"bucketId", "none"}}, "200"},
      {"b2_create_bucket", create, {{"bucketName", "short"}}},
      {"b2_create_bucket", create, {{"bucketName", "under_score"}}},
      {"b2_create_bucket", create, {{"bucketName", "b2-bucket"}}},
      {"b2_create_bucket", create, {{"bucketType", "snapshot"}}},
      {"b2_create_bucket", create, {{"bucketName", "PHOTOS"}}, "400 duplicate_bucket_name"},
      {"b2_update_bucket", bucket, {{"ifRevisionIs", 9}}, "409 conflict"},
      {"b2_delete_bucket", bucket, {}, "400 cannot_delete_non_empty_bucket"},
      {"b2_delete_bucket", account, {{"bucketId", "none"}}, "400 bad_bucket_id"},
      {"b2_list_file_names", {}, {{"bucketId", "none"}}, "400 bad_bucket_id"},
      {"b2_get_file_info", {}, {{"fileId", "nonsense"}}},
      {"b2_get_file_info", {}, {{"fileId", unknown}}, "404 not_found"},
      {"b2_get_file_info", large, {}, "404 not_found"},
      {"b2_get_upload_url", {}, {{"bucketId", "none"}}, "400 bad_bucket_id"},
      {"b2_get_upload_part_url", file, {}},
      {"b2_delete_file_version", file, {{"fileName", "b"}}, "400 file_not_present"},
      {"b2_copy_file", copy, {{"sourceFileId", large["fileId"]}}, "404 not_found"},
      {"b2_copy_file", copy, {{"contentType", "x/y"}}},
      {"b2_copy_file", copy, {{"metadataDirective", "REPLACE"}}},
      {"b2_copy_file", copy, {{"range", "bytes=4-"}}, "416 range_not_satisfiable"},
      {"b2_start_large_file", bucket, {{"fileName", "b"}}},
      {"b2_list_parts", large, {{"maxPartCount", 1001}}, "400 out_of_range"},
      {"b2_get_download_authorization",
       bucket,
       {{"fileNamePrefix", ""}, {"validDurationInSeconds", 604801}}},
      {"b2_no_such_call", {}, {}, "404 not_found"},
  };
  for (const auto& [call, fields, more, outcome] : rows) {
    json all = json::object();
    for (const json& part : {fields, more}) all.update(part.is_null() ? json::object() : part);
    EXPECT_EQ(Call(call, all).Outcome(), outcome) << call << all;
  }
  EXPECT_EQ(Call("b2_list_file_names", json::array()).Outcome(), "400 bad_json");
  EXPECT_EQ(VersionsText(), "a=text large+");
}

TEST(NamesTest, WhatTheServiceStores) {
  const std::string long_segment(251, 's');
  for (const std::string& name :
       {std::string(), std::string("/a"), std::string("a/"), std::string("a//b"),
        std::string("a\x7F"), std::string("a\n"), "a/" + long_segment, std::string(1025, 'n'),
        std::string("\xC3("), std::string("\xED\xA0\x80")}) {
    EXPECT_THROW(CheckFileName(name), std::runtime_error) << name;
  }
  CheckFileName(long_segment.substr(1) + "/ \\ \xF0\x9F\x98\x80");
  FileInfo many;
  for (int i = 0; i < 11; ++i) many.emplace(std::to_string(i), "x");
  for (const FileInfo& infos : {FileInfo{{"sp ace", "v"}}, FileInfo{{"b2-other", "v"}},
                                FileInfo{{"k", std::string(7000, 'v')}}, many}) {
    EXPECT_THROW(CheckedInfo(infos, "name"), std::runtime_error) << infos.begin()->first;
  }
  CheckedInfo({{"Key-_.`~!#$%^&*'|+", "v"}, {"b2-expires", "v"}}, "name");
}

TEST_F(RefusalTest, TokensAreCheckedOnEveryKindOfCall) {
  AddText(store(), "photos", "a", "text");
  const json target = UploadTarget();
  const auto outcomes = [&](const std::string& token, const std::string& upload_token) {
    const Headers header{"Authorization: " + token};
    const auto send = [&](const std::string& url) { return client_.Send(url, header).Outcome(); };
    json other = target;
    other["authorizationToken"] = upload_token;
    return send("https://api001.backblazeb2.com/b2api/v1/b2_list_file_names?bucketId=" +
                bucket_.id) +
           "; " + send("https://f001.backblazeb2.com/file/photos/a") + "; " +
           UploadFile(other, "b", "").Outcome();
  };
  const std::string upload_token = target["authorizationToken"];
  EXPECT_EQ(outcomes(token_, upload_token), "200; 200; 200");
  EXPECT_EQ(outcomes("wrong", token_),
            "401 bad_auth_token; 401 bad_auth_token; 401 bad_auth_token");
  EXPECT_EQ(outcomes("", ""),
            "401 missing_auth_token; 401 missing_auth_token; 401 missing_auth_token");
  const std::string other_url_token = UploadTarget()["authorizationToken"];
  EXPECT_EQ(outcomes(token_, other_url_token), "200; 200; 401 bad_auth_token");
  emulator_.ExpireTokens();
  EXPECT_EQ(outcomes(token_, upload_token),
            "401 expired_auth_token; 401 expired_auth_token; 401 expired_auth_token");
  Login();
  EXPECT_EQ(outcomes(token_, upload_token), "200; 200; 401 expired_auth_token");
}

}  // namespace
}  // namespace emulator
