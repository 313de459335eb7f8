#include "client.h"
#include "emulator/names.h"

namespace emulator {
namespace {

using RefusalTest = EmulatorTest;

TEST_F(RefusalTest, CallsRefuseWhatDoesNotFit) {
  AddText(store(), "photos", "a", "text");
  const std::string file_id = AllVersions(store(), "photos")[0]->Id();
  const std::string large_id = Start("large");
  std::string unknown_id = file_id;
  unknown_id[40] = 'f';
  const std::string account = emulator_.account_id();
  const std::string bucket = bucket_.id;
  const auto create = [&](const char* name, const char* type) {
    return json{{"accountId", account}, {"bucketName", name}, {"bucketType", type}};
  };
  const auto with_account = [&](const char* field, const json& value) {
    return json{{"accountId", account}, {field, value}};
  };
  const auto copy_with = [&](const char* field, const char* value) {
    return json{{"sourceFileId", file_id}, {"fileName", "b"}, {field, value}};
  };
  const std::tuple<const char*, json, const char*> rows[] = {
      {"b2_list_buckets", json::object(), "400 bad_request"},
      {"b2_list_buckets", {{"accountId", "000000000000"}}, "400 bad_request"},
      {"b2_list_buckets", {{"accountId", 5}}, "400 bad_request"},
      {"b2_list_buckets", with_account("bucketTypes", json::array()), "400 bad_request"},
      {"b2_list_buckets", with_account("bucketTypes", {"all", "shared"}), "400 bad_request"},
      {"b2_list_buckets", with_account("bucketId", "none"), "200"},
      {"b2_create_bucket", create("short", "allPrivate"), "400 bad_request"},
      {"b2_create_bucket", create("under_score", "allPrivate"), "400 bad_request"},
      {"b2_create_bucket", create("b2-bucket", "allPrivate"), "400 bad_request"},
      {"b2_create_bucket", create("bucket", "snapshot"), "400 bad_request"},
      {"b2_create_bucket", create("PHOTOS", "allPrivate"), "400 duplicate_bucket_name"},
      {"b2_update_bucket",
       {{"accountId", account}, {"bucketId", bucket}, {"ifRevisionIs", 9}},
       "409 conflict"},
      {"b2_delete_bucket", with_account("bucketId", bucket), "400 cannot_delete_non_empty_bucket"},
      {"b2_delete_bucket", with_account("bucketId", "none"), "400 bad_bucket_id"},
      {"b2_list_file_names", {{"bucketId", "none"}}, "400 bad_bucket_id"},
      {"b2_list_file_names", json::array(), "400 bad_json"},
      {"b2_get_file_info", {{"fileId", "nonsense"}}, "400 bad_request"},
      {"b2_get_file_info", {{"fileId", unknown_id}}, "404 not_found"},
      {"b2_get_file_info", {{"fileId", large_id}}, "404 not_found"},
      {"b2_get_upload_url", {{"bucketId", "none"}}, "400 bad_bucket_id"},
      {"b2_get_upload_part_url", {{"fileId", file_id}}, "400 bad_request"},
      {"b2_delete_file_version", {{"fileId", file_id}, {"fileName", "b"}}, "400 file_not_present"},
      {"b2_copy_file", {{"sourceFileId", large_id}, {"fileName", "b"}}, "404 not_found"},
      {"b2_copy_file", copy_with("contentType", "x/y"), "400 bad_request"},
      {"b2_copy_file", copy_with("metadataDirective", "REPLACE"), "400 bad_request"},
      {"b2_copy_file", copy_with("range", "bytes=4-"), "416 range_not_satisfiable"},
      {"b2_start_large_file", {{"bucketId", bucket}, {"fileName", "b"}}, "400 bad_request"},
      {"b2_list_parts", {{"fileId", large_id}, {"maxPartCount", 1001}}, "400 out_of_range"},
      {"b2_get_download_authorization",
       {{"bucketId", bucket}, {"fileNamePrefix", ""}, {"validDurationInSeconds", 604801}},
       "400 bad_request"},
      {"b2_no_such_call", json::object(), "404 not_found"},
  };
  for (const auto& [call, fields, outcome] : rows) {
    EXPECT_EQ(Call(call, fields).Outcome(), outcome) << call << fields;
  }
  EXPECT_EQ(VersionsText(), "a=text large+");
}

TEST_F(RefusalTest, NamesAndInfos) {
  const auto outcome = [](const auto& check) -> std::string {
    try {
      check();
      return "fits";
    } catch (const std::exception& refusal) {
      return refusal.what();
    }
  };
  const std::string long_segment(251, 's');
  const std::pair<std::string, const char*> names[] = {
      {"", "File names must contain at least one character"},
      {"/a", "File names must not start with '/'"},
      {"a/", "File names must not end with '/'"},
      {"a//b", "File names must not contain '//'"},
      {"a\x7F", "File names must not contain DELETE"},
      {"a\n", "File names must not contain control characters"},
      {"a/" + long_segment, "File names segment must not be more than 250 bytes"},
      {std::string(1025, 'n'), "File names in UTF8 must be no more than 1024 bytes"},
      {"\xC3(", "File names must be UTF8"},
      {"\xED\xA0\x80", "File names must be UTF8"},
      {long_segment.substr(1) + "/ \\ \xF0\x9F\x98\x80", "fits"},
  };
  for (const auto& [name, expected] : names) {
    EXPECT_EQ(outcome([&, &text = name] { CheckFileName(text); }), expected) << name;
  }
  FileInfo many;
  for (int i = 0; i < 11; ++i) many.emplace(std::to_string(i), "x");
  const std::pair<FileInfo, const char*> infos[] = {
      {{{"Key-_.`~!#$%^&*'|+", "v"}, {"b2-expires", "v"}}, "fits"},
      {{{"sp ace", "v"}}, "Bad file info name: sp ace"},
      {{{"b2-other", "v"}}, "Reserved file info name: b2-other"},
      {{{"k", std::string(7000, 'v')}}, "File name and file info are too long"},
      {many, "Too many file infos: at most 10"},
  };
  for (const auto& [info, expected] : infos) {
    EXPECT_EQ(outcome([&, &pairs = info] { CheckedInfo(pairs, "name"); }), expected);
  }
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
