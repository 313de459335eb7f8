#include <malloc.h>

#include <fstream>
#include <string>
#include <thread>

#include "tests/support/drive_test.h"

namespace {

bool IsMapped() {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find("libbackblazeb2") != std::string::npos) return true;
  }
  return false;
}

long Resident() {  // kilobytes
  malloc_trim(0);
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
  }
  return 0;
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
      {
        const Plugin plugin;
        // A thread that used the module keeps it mapped until it ends.
        std::thread([&] { Use(plugin, *service); }).join();
      }
      ASSERT_FALSE(IsMapped()) << "round " << i;
    }
  };
  rounds(50);
  const long before = Resident();
  rounds(250);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(Resident() - before, 1024);
#else
  static_cast<void>(before);
#endif
}
