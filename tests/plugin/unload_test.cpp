#include <malloc.h>

#include "tests/support/drive_test.h"
#include "tests/support/memory.h"

namespace {

bool IsMapped() {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find("libbackblazeb2") != std::string::npos) return true;
  }
  return false;
}

void Use(const Plugin& plugin, const emulator::Emulator& service) {
  ProtocolPtr drive(plugin.NewProtocol());
  drive->SetOpt("option_fields", ProxyForm(service, "HTTP with TUNNEL").c_str());
  const std::string form = AccountForm(service.account_id(), service.key());
  ASSERT_EQ(drive->Connect(nullptr, form.c_str()), AERROR::SUCCESS);
  FileList list;
  ASSERT_EQ(drive->GetFileList("", &list, nullptr), AERROR::SUCCESS);
}

}  // namespace

TEST(UnloadTest, HundredsOfLoadsLeaveNothing) {
  const auto service = StartEmulator();
  service->RecordRequests(false);
  const auto rounds = [&](int count) {
    for (int i = 0; i < count; ++i) {
      Use(Plugin(), *service);
      ASSERT_FALSE(IsMapped()) << "round " << i;
    }
  };
  const auto resident_after = [&](int count) {
    rounds(count);
    malloc_trim(0);
    return MemoryKilobytes("VmRSS");
  };
  const long before = resident_after(50);
  const long grown = resident_after(250) - before;
  EXPECT_TRUE(grown < 1024 || !kMemoryIsMeasurable) << grown;
}
