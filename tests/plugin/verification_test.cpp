#include "tests/support/drive_test.h"

// Built twice: once beside a Frameworks directory with the tests' CA, once without any.

TEST(VerificationTest, StrangersAreRefusedUnlessNobodyCanBeKnown) {
  if (B2_VERIFIES) StartEmulator();   // makes the CA, if no other test has
  const emulator::Emulator stranger;  // with a CA of its own
  RecordingLog log;
  const Plugin plugin;
  plugin.Get<module_api::BindLogger>("BindLogger")(&log);
  const std::string form = AccountForm(stranger.account_id(), stranger.key());
  for (int i = 0; i < 2; ++i) {
    const ProtocolPtr drive(plugin.NewProtocol());
    drive->SetOpt("option_fields", ProxyForm(stranger, "HTTP with TUNNEL").c_str());
    EXPECT_EQ(drive->Connect(nullptr, form.c_str()),
              B2_VERIFIES ? AERROR::ACCESS_VIOLATION : AERROR::SUCCESS);
    FileList list;
    drive->GetFileList("", &list, nullptr);
  }
  EXPECT_EQ(log.Count("8 [PROTOCOL  ] Process >> SSL peer certificate"), B2_VERIFIES ? 2 : 0);
  EXPECT_EQ(log.Count("4 [NETWORK   ] Servers are not verified"), B2_VERIFIES ? 0 : 1);
  plugin.Get<module_api::UnbindLogger>("UnbindLogger")();
}
