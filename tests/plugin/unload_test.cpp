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

long ResidentKilobytes() {
  malloc_trim(0);
  return MemoryKilobytes("VmRSS");
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
  rounds(50);
  const long before = ResidentKilobytes();
  rounds(250);
  if (kMemoryIsMeasurable) {
    EXPECT_LT(ResidentKilobytes() - before, 1024);
  }
}
