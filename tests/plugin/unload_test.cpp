#include <malloc.h>

#include "tests/support/drive_test.h"
#include "tests/support/memory.h"

TEST(UnloadTest, HundredsOfLoadsLeaveNothing) {
  const auto service = StartEmulator();
  service->RecordRequests(false);
  const auto resident_after = [&](int rounds) {
    for (int i = 0; i < rounds; ++i) {
      {
        const Plugin plugin;
        const ProtocolPtr drive(plugin.NewProtocol());
        EXPECT_EQ(ConnectTo(*service, drive), SUCCESS);
        FileList list;
        EXPECT_EQ(drive->GetFileList("", &list, nullptr), SUCCESS);
      }
      std::ifstream maps("/proc/self/maps");
      for (std::string line; std::getline(maps, line);) {
        EXPECT_EQ(line.find("libbackblazeb2"), std::string::npos) << "round " << i;
      }
    }
    malloc_trim(0);
    return MemoryKilobytes("VmRSS");
  };
  const long before = resident_after(50);
  const long grown = resident_after(250) - before;
  EXPECT_TRUE(grown < 1024 || !kMemoryIsMeasurable) << grown;
}
