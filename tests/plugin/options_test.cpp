#include <chrono>

#include "tests/support/drive_test.h"

namespace {

using OptionsTest = DriveTest;

TEST_F(OptionsTest, ConnectSendsTheAccountAndReportsOneCode) {
  const auto authorize = service->requests().back();
  EXPECT_EQ(authorize.method + authorize.target, "GET/b2api/v1/b2_authorize_account");
  EXPECT_EQ(authorize.Header("Authorization").substr(0, 6), "Basic ");

  const std::string wrong = AccountForm(*service, "wrong");
  EXPECT_EQ(drive->Connect(nullptr, wrong.c_str()), ACCESS_VIOLATION);
  EXPECT_EQ(service->Count("b2_authorize_account"), 2U);
  EXPECT_EQ(List("").size(), 1U);  // the session of the earlier connection stays

  char credential[256];
  int size = sizeof credential;
  EXPECT_EQ(drive->GetCredential(credential, &size), SUCCESS);
  EXPECT_EQ(credential, wrong);
}

TEST_F(OptionsTest, AccountComesFromFormsThatReadAndFromOptions) {
  for (const char* form :
       {"", "[]", R"({"values":1})", R"({"values":{"account_id":{"value":[]}}})"}) {
    EXPECT_EQ(drive->Connect(nullptr, form), AUTH_FAILED) << form;
  }
  EXPECT_EQ(drive->Connect(nullptr, nullptr), AUTH_FAILED);
  SetOpt("ACCESS_KEY", service->account_id());
  SetOpt("application_key", service->key());
  EXPECT_EQ(drive->Connect(nullptr, R"({"values":{}})"), SUCCESS);
  SetOpt("connect_info", R"({"data":{"user":"x","pwd":"y"}})");
  EXPECT_EQ(drive->Connect(nullptr, R"({"values":{}})"), ACCESS_VIOLATION);
  // What an answer leaves out stays as it was.
  AnswerWith("b2_authorize_account", R"({"authorizationToken":"other token","downloadUrl":"x"})");
  EXPECT_EQ(Connect(), SUCCESS);
  EXPECT_TRUE(Records("", FAILED).empty());
  EXPECT_EQ(service->requests().back().Header("Authorization"), "other token");
}

TEST_F(OptionsTest, NothingButHttpsIsSpoken) {
  SetOpt("option_fields", ProxyForm(*service, "HTTP without TUNNEL"));
  const std::string clear = "http://api001.backblazeb2.com";
  AnswerWith("b2_get_upload_url", R"({"authorizationToken":"t","uploadUrl":")" + clear +
                                      R"(/b2api/v1/b2_upload_file"})");
  EXPECT_EQ(Upload(bucket, "f", "contents"), FAILED);
  EXPECT_EQ(service->Count("b2_upload_file"), 0U);
  for (Text url : {clear, "ftp" + clear.substr(4), std::string("file:///dev/null")}) {
    AnswerWith("b2_authorize_account", R"({"authorizationToken":"t","apiUrl":")" + url + R"("})");
    EXPECT_EQ(Connect(), SUCCESS);
    log.Take();
    EXPECT_TRUE(Records("", FAILED).empty());
    EXPECT_EQ(service->requests().back().call, "b2_authorize_account") << url;
    EXPECT_TRUE(log.Contains("GetFileList_BucketList >> Unsupported protocol(1)")) << url;
  }
}

TEST_F(OptionsTest, SpeedLimitIsBytesAsOptionAndKilobytesInTheForm) {
  const std::string file = Store("f", std::string(3'000'000, 'x'));
  // Only lower bounds: a limiter cannot be outrun. With the units mixed up, the first would not
  // wait at all and the second for half an hour.
  for (const auto& [option, value] :
       {std::pair{"SpeedLimit", "2000000"},
        {"option_fields", R"({"values":{"speedlimit":{"value":"2000"}}})"}}) {
    SetOpt(option, value);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ReadAll(file, 3'000'000).size(), 3'000'000U);
    EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500)) << option;
  }
}

TEST_F(OptionsTest, FolderDeletionIsAllowedUntilItIsForbidden) {
  const std::string folder = bucket + "/a";
  EXPECT_EQ(DeleteDirectory(folder), SUCCESS);
  SetOpt("enable_delete_folder", "yes");
  EXPECT_EQ(DeleteDirectory(folder), ACCESS_DENIED);
  EXPECT_TRUE(log.Contains("4 [PROTOCOL  ] DeleteFolder not allowed by user"));
  SetOpt("Enable_Delete_Folder", "TRUE");
  EXPECT_EQ(DeleteDirectory(folder), SUCCESS);
  SetOpt("option_fields", R"({"values":{"enable_delete_folder":{"value":false}}})");
  EXPECT_EQ(DeleteDirectory(folder), ACCESS_DENIED);
}

}  // namespace
