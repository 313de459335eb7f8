#include <filesystem>

#include "tests/support/drive_test.h"

namespace fs = std::filesystem;

using VanishedCaTest = DriveTest;

TEST(VanishedCaBeforeUseTest, IsNoReasonToTrustAnybody) {
  const auto service = StartEmulator();
  const fs::path folder = service->ca_file().parent_path();
  const fs::path aside = folder.string() + ".aside";
  const emulator::Emulator stranger;
  const Plugin plugin;
  const ProtocolPtr drive(plugin.NewProtocol());
  drive->SetOpt("option_fields", ProxyForm(stranger, "HTTP with TUNNEL").c_str());
  fs::rename(folder, aside);
  EXPECT_NE(drive->Connect(nullptr, AccountForm(stranger.account_id(), stranger.key()).c_str()),
            AERROR::SUCCESS);
  fs::rename(aside, folder);
  EXPECT_EQ(stranger.Count("b2_authorize_account"), 0U);
}

TEST_F(VanishedCaTest, ConnectionsFailAndNobodyIsTrustedUnseen) {
  const emulator::Emulator stranger;  // with a CA of its own
  const fs::path folder = service->ca_file().parent_path();
  const fs::path aside = folder.string() + ".aside";
  FetchedBytes fetched;
  // In the midst of a read, which holds a request object, so that the listing needs a new one.
  fetched.on_block = [&] {
    fs::rename(folder, aside);
    SetOpt("option_fields", ProxyForm(stranger, "HTTP with TUNNEL"));
    EXPECT_TRUE(Records("", AERROR::FAILED).empty());
    fs::rename(aside, folder);
    EXPECT_TRUE(Records("", AERROR::FAILED).empty());
  };
  EXPECT_EQ(Read(Store(bucket, "f", "contents"), 0, 8, fetched), AERROR::SUCCESS);
  EXPECT_EQ(stranger.Count("b2_list_buckets"), 0U);
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] GetFileList_BucketList >> Problem with the SSL CA"));
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] GetFileList_BucketList >> SSL peer certificate"));
  EXPECT_FALSE(log.Contains("not verified"));
}
