#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "emulator/emulator.h"
#include "emulator/inspection.h"
#include "emulator/seeding.h"
#include "host/mount/files/file_system.h"
#include "host/plugin/host_log.h"
#include "host/plugin/plugin_library.h"

namespace b2drive::mount {

// A mount without a kernel: the built plug-in, an emulator in this process, a cache folder. Names
// are those of one bucket. What a program does gives 0, or the errno that it sees.
class FileSystemTest : public testing::Test {
 public:
  using Text = const std::string&;
  using Texts = std::vector<std::string>;
  using Action = std::function<void()>;
  using HandlePtr = std::unique_ptr<Handle>;

  static constexpr std::size_t kPart = 100'000;  // bytes; longer files are sent in parts

  FileSystemTest();
  ~FileSystemTest() override;

  // Programs on the mount, each from its open to its close.
  int Write(Text name, Text text);
  int WriteMapped(Text name, Text text);  // into what is there, and without a flush
  int Append(Text name, Text text);
  int Resize(Text name, int size) {
    return Try([&] { files->Truncate(At(name), size); });
  }
  std::string Read(Text name, std::uint64_t from = 0);  // or "errno 5"
  int Rename(Text from, Text to) {
    return TryName([&] { files->Rename(At(from), At(to), true); });
  }
  int Unlink(Text name) {
    return TryName([&] { files->Unlink(At(name)); });
  }
  int MakeFolder(Text name) {
    return TryName([&] { files->MakeFolder(At(name)); });
  }
  int RemoveFolder(Text name) {
    return TryName([&] { files->RemoveFolder(At(name)); });
  }
  std::set<std::string> Names(Text folder = "");  // folders with a slash; throws FsError
  // Programs that go on. They must close, or forget what a killed mount gave them.
  HandlePtr Open(Text name) { return files->Open(At(name), true, false); }
  HandlePtr Create(Text name, Text text = "");  // written, but not saved
  void Close(HandlePtr handle) { files->Close(std::move(handle)); }

  // The mount itself. Unmounting sends what waits and can be sent; a kill leaves the cache folder
  // as a kill -9 does, now or when the `k`-th request of `action` has just taken effect.
  void Mount() { files = std::make_unique<FileSystem>(*live_, options, cache_, *disk, boot); }
  void Remount();
  void SignIn();  // anew, for the next Mount
  void Kill();
  void KillAt(int k, const Action& action);
  std::vector<std::filesystem::path> CacheFiles();
  std::map<std::string, std::string> Shown(Text folder = "");  // all files below with contents
  // Nothing waits, and a mount that knows nothing yet shows what the service holds.
  void ExpectAgreement();

  // Another client, at the service.
  void Put(Text name, Text text) { emulator::AddText(service->store(), "bucket", name, text); }
  void Remove(Text name) { emulator::DeleteVersions(service->store(), "bucket", name); }
  void Hide(Text name) { emulator::HideFile(service->store(), "bucket", name); }
  std::map<std::string, std::string> Stored();  // visible, without folders' markers
  Texts Versions(Text name) { return emulator::Versions(service->store(), "bucket", name); }

  // The service's trouble, until Heal.
  void Fail(Text call, int status, int times = -1);
  void AnswerWith(Text call, Text body, int times = -1);
  void Heal() { service->ClearFaults(); }
  // The requests that `action` makes; `meddle` is done just before the `k`-th takes effect.
  int RequestsOf(const Action& action, int k = 0, const Action& meddle = {});

  static int Try(const Action& action);
  int TryName(const Action& action);  // one at a time, as a kernel changes a folder's names
  static std::string At(Text name);   // without a trailing slash

  FileSystemOptions options;  // for the next Mount, as what follows
  Disk* disk = &SystemDisk();
  std::string boot = CurrentBoot();
  bool out_of_memory = false;  // whoever signs in
  std::unique_ptr<emulator::Emulator> service;
  std::unique_ptr<FileSystem> files;

 protected:
  std::filesystem::path scratch_;
  std::filesystem::path cache_;

 private:
  int Use(const std::function<HandlePtr()>& open, const std::function<void(Handle&)>& use);
  void TakeSnapshot();
  void Abandon();

  std::mutex names_;
  HostLog log_{false, nullptr};
  std::unique_ptr<PluginLibrary> plugin_;
  std::unique_ptr<LiveSession> live_;
  std::vector<std::unique_ptr<FileSystem>> killed_;
};

}  // namespace b2drive::mount
