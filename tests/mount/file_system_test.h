#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "emulator/emulator.h"
#include "host/host_log.h"
#include "host/mount/file_system.h"
#include "host/plugin_library.h"

namespace b2drive::mount {

// A mount without a kernel: the built plug-in, an emulator in this process and a cache folder.
// Names are those of one bucket. What a program does gives 0 or the errno that it sees.
class FileSystemTest : public testing::Test {
 public:
  static constexpr std::size_t kPart = 100'000;  // bytes; longer files are sent in parts

  FileSystemTest();
  ~FileSystemTest() override;

  // Programs on the mount. The first four open, and close what they wrote.
  int Write(const std::string& name, const std::string& text);  // the whole file
  int Append(const std::string& name, const std::string& text);
  int Resize(const std::string& name, std::uint64_t size);
  std::string Read(const std::string& name);  // "errno 5" if it fails
  int Rename(const std::string& from, const std::string& to);
  int Unlink(const std::string& name);
  int MakeFolder(const std::string& name);
  int RemoveFolder(const std::string& name);
  // "errno 5" if it fails.
  std::string Names(const std::string& folder = "");
  // What is open until Close, Kill or Unmount, at the latest.
  Handle& Open(const std::string& name);
  Handle& Create(const std::string& name);
  int Write(Handle& handle, const std::string& text);  // and no flush
  int Flush(Handle& handle);
  void Close(Handle& handle);
  void CloseAtOnce(Handle& one, Handle& other);  // from two threads

  // The mount itself. Unmounting sends what waits and can be sent; killing leaves the cache folder
  // as a kill -9 does, now or before the `k`-th request of `action` was answered.
  void Mount();
  void Unmount();
  void Remount();
  void Kill();
  void KillAt(int k, const std::function<void()>& action);
  std::vector<std::string> Waiting();
  std::vector<std::string> Drain();  // sends what waits, once and for all; gives what is left
  // Names and contents as a mount shows them that believes nothing it knew.
  std::map<std::string, std::string> MountedAfresh();
  std::vector<std::filesystem::path> CacheFiles();

  // Another client, at the service.
  void Put(const std::string& name, const std::string& text);
  void Remove(const std::string& name);  // all versions
  void Hide(const std::string& name);
  std::map<std::string, std::string> Stored();                 // visible, without folders' markers
  std::string Stored(const std::string& name);                 // "none" if it is not visible
  std::vector<std::string> Versions(const std::string& name);  // contents, newest first
  // What stands beside a file because it could not take its name.
  std::vector<std::string> Aside(const std::string& name);

  // The service's trouble; a negative `times` lasts until Heal.
  void Fail(const std::string& call, int status, int times = -1);
  void AnswerWith(const std::string& call, const std::string& body, int times);
  void Heal() { service->ClearFaults(); }
  // The requests that `action` makes, counted.
  int RequestsOf(const std::function<void()>& action);
  // Runs `action`; another client does `meddle` just before its `k`-th request is worked on.
  void Meddle(int k, const std::function<void()>& meddle, const std::function<void()>& action);

  template <typename Action>
  static int Errno(Action action);

  MountOptions options;  // for the next Mount
  std::unique_ptr<emulator::Emulator> service;
  std::unique_ptr<FileSystem> files;

 private:
  std::unique_ptr<Handle> Take(Handle& handle);
  int Requests();
  void TakeSnapshot();
  void Abandon();
  void Walk(const std::string& folder, std::map<std::string, std::string>& found);
  Handle& Keep(std::unique_ptr<Handle> handle);

  std::filesystem::path scratch_;
  std::filesystem::path cache_;
  HostLog log_{false, nullptr};
  std::unique_ptr<PluginLibrary> plugin_;
  std::unique_ptr<LiveSession> live_;
  std::vector<std::unique_ptr<Handle>> open_;
};

template <typename Action>
int FileSystemTest::Errno(Action action) {
  try {
    action();
  } catch (const FsError& error) {
    return error.number();
  } catch (const std::exception& error) {
    ADD_FAILURE() << "not an FsError: " << error.what();
    return -1;
  }
  return 0;
}

}  // namespace b2drive::mount
