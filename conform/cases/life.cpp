#include <malloc.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <latch>
#include <thread>

#include "conform/cases.h"
#include "conform/drive.h"

// Loading, unloading, and what is left.
namespace conform {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kMemoryIsMeasurable = false;
#else
constexpr bool kMemoryIsMeasurable = true;
#endif

bool IsMapped(const std::string& file) {
  const std::string name = std::filesystem::path(file).filename().string();
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find(name.substr(0, name.find(".so"))) != line.npos) return true;
  }
  return false;
}

int OpenFiles() {
  return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

long StatusField(const std::string& field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(field + ":")) return std::stol(line.substr(field.size() + 1));
  }
  return 0;
}

// A module in use, with all that a host binds to it.
struct Host {
  explicit Host(const Service& service, const std::string& file = "")
      : module(file), object(module.NewObject()) {
    module.BindLogger(&log);
    object->SetOpt("option_fields", ProxyForm(service.port()).c_str());
    Equal("Connect", object->Connect(nullptr, AccountForm().c_str()), SUCCESS);
  }
  ~Host() {
    object.reset();
    module.UnbindLogger();
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  void List() const {
    conform::List list;
    Equal("GetFileList", object->GetFileList("", &list, nullptr), SUCCESS);
  }

  KeptLog log;
  Module module;
  Object object;
};

void WorkOnce(const Service& service, const std::string& file = "") {
  const Host host(service, file);
  host.List();
}

void Unloads() {
  const Service service;
  const std::string file = TheSettings().plugin;
  {
    const Module module;
    True("is mapped while it is loaded", IsMapped(file));
  }
  True("is gone when it was never used", !IsMapped(file));
  WorkOnce(service);
  True("is gone when it was used", !IsMapped(file));
}

void UnloadsFiftyTimes() {
  constexpr int kWarmUp = 10, kRounds = 50;
  constexpr long kGrowth = 2000;  // kilobytes
  const Service service({"--no-request-log"});
  int files = 0;
  long resident = 0, threads = 0;
  for (int round = 0; round < kWarmUp + kRounds; ++round) {
    if (round == kWarmUp) {
      malloc_trim(0);
      files = OpenFiles();
      resident = StatusField("VmRSS");
      threads = StatusField("Threads");
    }
    WorkOnce(service);
  }
  malloc_trim(0);
  Equal("open files", OpenFiles(), files);
  Equal("threads", StatusField("Threads"), threads);
  const long grown = StatusField("VmRSS") - resident;
  True("memory grew by " + std::to_string(grown) + " KiB", grown < kGrowth || !kMemoryIsMeasurable);
}

// Threads that used the module go on after it is gone, and end.
void OutlivedByThreads() {
  Service service;
  std::latch used(1), unloaded(1);
  std::jthread thread;
  {
    const Host host(service);
    thread = std::jthread([&] {
      host.List();
      used.count_down();
      unloaded.wait();
    });
    used.wait();
  }
  True("is gone while a thread that used it lives", !IsMapped(TheSettings().plugin));
  unloaded.count_down();
}

// A host that ends cancels what runs, waits for it, and unloads at once.
void UnloadsAfterCanceledWork() {
  Service service;
  const std::string file = service.bucket() + "/" + service.Put("f", Bytes(4'000'000));
  for (int round = 0; round < 5; ++round) {
    service.Fault({{"call", "b2_download_file_by_id"}, {"drip", 1'000'000}});
    const Host host(service);
    const Handle handle = NewHandle();
    std::latch running(1);
    std::jthread reader([&] {
      Fetched fetched;
      fetched.on_block = [&] {
        if (fetched.blocks == 0) running.count_down();
      };
      Equal("Read", host.object->Read(file.c_str(), 0, 4'000'000, handle, &fetched, nullptr),
            READ_CANCELED);
    });
    running.wait();
    handle->transfer->state = TRANSFER_CANCELED;
  }
  True("is gone", !IsMapped(TheSettings().plugin));
}

void UnloadsWhileAnotherWorks() {
  Drive drive;
  const std::string copy = CopyOfModule("another"), bytes = Bytes(1'000'000);
  const std::string file = drive.Put("f", bytes);
  std::atomic<bool> goes_on = true;
  std::jthread worker([&] {
    do {
      True("reads of the one that stays", drive.ReadAll(file, bytes.size()) == bytes);
    } while (goes_on);
  });
  for (int round = 0; round < 20; ++round) WorkOnce(drive.service, copy);
  goes_on = false;
  worker.join();
  True("the other is gone", !IsMapped(copy));
}

// The process ends with the module loaded.
void StaysToTheEnd() {
  const Service service;
  static auto* const host = new Host(service);
  host->object.reset();
}

void ConnectsAgainAndAgain() {
  Drive drive;
  for (int round = 0; round < 20; ++round) {
    Equal("Connect", drive.Connect(), SUCCESS);
    Equal("the root", drive.Names(""), Texts{"bucket-one/"});
    drive.Another();
  }
}

}  // namespace

std::vector<Case> LifeCases() {
  return {{"life.unload", Unloads},
          {"life.fifty_loads", UnloadsFiftyTimes},
          {"life.threads_go_on", OutlivedByThreads},
          {"life.canceled_work", UnloadsAfterCanceledWork},
          {"life.two_modules", UnloadsWhileAnotherWorks},
          {"life.to_the_end", StaysToTheEnd},
          {"life.connections", ConnectsAgainAndAgain}};
}

}  // namespace conform
