#include <filesystem>

#include "tests/support/drive_test.h"

namespace fs = std::filesystem;

class VanishedCaTest : public DriveTest {
 protected:
  const emulator::Emulator stranger;  // with a CA of its own
  const fs::path file = service->ca_file();
  const fs::path folder = file.parent_path();
  const fs::path aside = folder.string() + ".aside";
};

TEST(VanishedCaBeforeUseTest, IsNoReasonToTrustAnybody) {
  const fs::path folder = StartEmulator()->ca_file().parent_path();
  const fs::path aside = folder.string() + ".aside";
  const emulator::Emulator stranger;
  const Plugin plugin;
  const ProtocolPtr drive(plugin.NewProtocol());
  fs::rename(folder, aside);
  EXPECT_NE(ConnectTo(stranger, drive), SUCCESS);
  fs::rename(aside, folder);
  EXPECT_EQ(stranger.Count("b2_authorize_account"), 0U);
}

TEST_F(VanishedCaTest, ConnectionsFailAndNobodyIsTrustedUnseen) {
  FetchedBytes fetched;
  // In the midst of a read, which holds a request object, so that the listing needs a new one.
  fetched.on_block = [&] {
    fs::rename(folder, aside);
    SetOpt("option_fields", ProxyForm(stranger));
    EXPECT_TRUE(Records("", FAILED).empty());
    fs::rename(aside, folder);
    EXPECT_TRUE(Records("", FAILED).empty());
  };
  EXPECT_EQ(Read(Store("f", "contents"), 0, 8, fetched), SUCCESS);
  EXPECT_EQ(stranger.Count("b2_list_buckets"), 0U);
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] GetFileList_BucketList >> Problem with the SSL CA"));
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] GetFileList_BucketList >> SSL peer certificate"));
  EXPECT_FALSE(log.Contains("not verified"));
}

TEST(AnotherCaTest, IsTrustedBesidesAndNeverInstead) {
  const auto own = StartEmulator();
  const emulator::Emulator stranger;
  const std::tuple<std::string, AERROR, AERROR> rows[] = {
      {"", ACCESS_VIOLATION, SUCCESS},
      {stranger.ca_file(), SUCCESS, SUCCESS},
      {"/none", ACCESS_VIOLATION, ACCESS_VIOLATION}};
  for (const auto& [path, of_stranger, of_own] : rows) {
    RecordingLog log;
    const Plugin plugin;  // that has no request object yet
    plugin.Get<module_api::BindLogger>("BindLogger")(&log);
    const ProtocolPtr drive(plugin.NewProtocol());
    drive->SetOpt("ca_file", path.c_str());
    EXPECT_EQ(ConnectTo(stranger, drive), of_stranger) << path;
    EXPECT_EQ(ConnectTo(*own, drive), of_own) << path;
    EXPECT_EQ(log.Contains("8 [NETWORK   ] No certificates in [/none]"), path == "/none");
    plugin.Get<module_api::UnbindLogger>("UnbindLogger")();
  }
}

TEST_F(VanishedCaTest, WhatTheFileHoldsNowIsTrusted) {
  const auto other = StartEmulator();
  FetchedBytes fetched;
  fetched.on_block = [&] {  // a new request object, for libcurl keeps what a used one trusts
    fs::copy_file(file, aside);
    fs::copy_file(stranger.ca_file(), file, fs::copy_options::overwrite_existing);
    fs::last_write_time(file, fs::last_write_time(file) + std::chrono::seconds(1));
    EXPECT_EQ(ConnectTo(stranger, drive), SUCCESS);
    EXPECT_EQ(ConnectTo(*other, drive), ACCESS_VIOLATION);
    fs::rename(aside, file);
  };
  EXPECT_EQ(Read(Store("f", "contents"), 0, 8, fetched), SUCCESS);
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] Process >> SSL peer certificate"));
}
