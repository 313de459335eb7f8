#include "tests/support/drive_test.h"

// Stands beside no Frameworks directory.

TEST(VerificationTest, StrangersAreTrustedAloudWhereNobodyCanBeKnown) {
  const emulator::Emulator stranger;
  RecordingLog log;
  const Plugin plugin;
  plugin.Get<module_api::BindLogger>("BindLogger")(&log);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(ConnectTo(stranger, ProtocolPtr(plugin.NewProtocol())), SUCCESS);
  }
  EXPECT_EQ(log.Count("4 [NETWORK   ] Servers are not verified"), 1);
  plugin.Get<module_api::UnbindLogger>("UnbindLogger")();
}
