#pragma once

#include <unistd.h>

#include <atomic>
#include <set>
#include <sstream>

#include "host/mount/files/file_system.h"
#include "host/plugin/host_log.h"
#include "host/plugin/plugin_library.h"
#include "host/plugin/proxy.h"
#include "tests/support/drive_test.h"
#include "tests/support/scratch.h"

namespace b2drive::mount {

// A mount without a kernel: the built plug-in, an emulator in this process, a cache folder. Names
// are those of one bucket. What a program does gives 0, or the errno that it sees.
class FileSystemTest : public ServiceTest {
 public:
  using Action = std::function<void()>;
  using HandlePtr = std::unique_ptr<Handle>;

  static constexpr int kPart = 100'000;  // bytes; longer files are sent in parts

  FileSystemTest() : ServiceTest(kPart) {
    alarm(100);  // seconds, after which a case hangs
    SignIn();
    options.retries = 0;
    Mount();
  }
  ~FileSystemTest() override {
    files.reset();
    killed_.clear();
    alarm(0);
  }

  // Programs on the mount, each from its open to its close.
  int Write(Text name, Text text) {
    return Use([&] { return Create(name, text); }, [](Handle&) {});
  }
  int WriteMapped(Text name, Text text) {  // into what is there, and without a flush
    return Try([&] {
      HandlePtr handle = Open(name);
      files->Write(*handle, 0, text.data(), text.size());
      Close(std::move(handle));
    });
  }
  int Append(Text name, Text text) {
    return Use([&] { return Open(name); },
               [&](Handle& handle) {
                 files->Write(handle, handle.file().Stat().size, text.data(), text.size());
               });
  }
  int Resize(Text name, int size) {
    return Try([&] { files->Truncate(At(name), size); });
  }
  std::string Read(Text name, std::uint64_t from = 0) {  // or "errno 5"
    std::string text;
    const auto read = [&](Handle& handle) {
      std::string piece(64UL << 10, '\0');
      std::size_t got = 1;
      while (got > 0) {
        got = handle.file().Read(handle.reader, from + text.size(), piece.data(), piece.size());
        text.append(piece, 0, got);
      }
    };
    const int error = Use([&] { return files->Open(At(name), false, false); }, read);
    return error == 0 ? text : "errno " + std::to_string(error);
  }
  int Rename(Text from, Text to) {
    return TryName([&] { files->Rename(At(from), At(to), true); });
  }
  int Unlink(Text name) { return Change(&FileSystem::Unlink, name); }
  int MakeFolder(Text name) { return Change(&FileSystem::MakeFolder, name); }
  int RemoveFolder(Text name) { return Change(&FileSystem::RemoveFolder, name); }
  std::set<std::string> Names(Text folder = "") {  // folders with a slash; throws FsError
    std::set<std::string> names;
    const auto reader = files->OpenFolder(At(folder));
    std::uint64_t read = 0;
    for (std::uint64_t from = ~read; from != read;) {
      reader->Read(from = read, [&](std::uint64_t next, const Entry& entry) {
        names.insert(entry.name + (entry.folder ? "/" : ""));
        return (read = next) != 0;
      });
    }
    return names;
  }
  // One of these in a folder: "save NAME TEXT", "append NAME TEXT", "resize NAME SIZE", "move NAME
  // NAME", "unlink NAME", "mkdir NAME", "rmdir NAME".
  int Do(Text line, Text in = "") {
    std::string verb, name, text;
    std::istringstream(line) >> verb >> name >> text;
    name = in + name;
    if (verb == "save") return Write(name, text);
    if (verb == "append") return Append(name, text);
    if (verb == "resize") return Resize(name, std::stoi(text));
    if (verb == "move") return Rename(name, in + text);
    if (verb == "unlink") return Unlink(name);
    return verb == "mkdir" ? MakeFolder(name) : RemoveFolder(name);
  }
  // Programs that go on. They must close, or forget what a killed mount gave them.
  HandlePtr Open(Text name) { return files->Open(At(name), true, false); }
  HandlePtr Create(Text name, Text text = "") {  // written, but not saved
    std::unique_lock lock(names_);
    HandlePtr handle = files->Create(At(name));
    lock.unlock();
    if (!text.empty()) files->Write(*handle, 0, text.data(), text.size());
    return handle;
  }
  void Close(HandlePtr handle) { files->Close(std::move(handle)); }

  // The mount itself. Unmounting sends what waits and can be sent; a kill leaves the cache folder
  // as a kill -9 does, now or when the `k`-th request of `action` has just taken effect.
  void Mount() { files = std::make_unique<FileSystem>(*live_, options, cache_, *disk, boot); }
  void Remount() {
    if (files) files->Drain();
    files.reset();
    Mount();
  }
  void SignIn() {  // anew, for the next Mount
    files.reset();
    SessionOptions session;
    session.proxy = ParseProxy("http://127.0.0.1:" + std::to_string(service->port()));
    const Account account{service->account_id(), service->key(), ""};
    live_ = std::make_unique<LiveSession>([=, this] {
      if (out_of_memory) throw std::bad_alloc();
      return std::make_shared<Session>(plugin_, account, session);
    });
    live_->Current();
  }
  void Kill() {
    TakeSnapshot();
    Abandon();
  }
  void KillAt(int k, const Action& action) {
    RequestsOf(action, k, [this] {
      TakeSnapshot();
      Fail("", 503, kAlways, 1);
    });
    Abandon();
    usleep(100'000);  // what the mount has sent to the end must not arrive after the next one
    Heal();
  }
  std::vector<std::filesystem::path> CacheFiles() {
    std::vector<std::filesystem::path> found;
    for (const auto& item : std::filesystem::recursive_directory_iterator(cache_)) {
      if (item.is_regular_file()) found.push_back(item.path());
    }
    return found;
  }
  Contents Shown(Text folder = "") {  // all files below
    Contents shown;
    for (Text name : Names(folder)) {
      const std::string inner = folder + name;
      name.ends_with('/') ? shown.merge(Shown(inner)) : void(shown[inner] = Read(inner));
    }
    return shown;
  }
  Contents Stored() {  // without folders' markers
    Contents stored = StoredIn(store());
    std::erase_if(stored, [](const auto& file) { return file.first.ends_with("/.bzEmpty"); });
    return stored;
  }
  // Nothing waits, and a mount that knows nothing yet shows what the service holds.
  void ExpectAgreement() {
    EXPECT_EQ(files->Drain().size(), 0u);
    Remount();
    EXPECT_EQ(Shown(), Stored());
  }

  // The requests that `action` makes; `meddle` is done just before the `k`-th takes effect.
  int RequestsOf(const Action& action, int k = 0, const Action& meddle = {}) {
    std::atomic<int> requests = 0;
    service->OnRequest([&](const emulator::Request&) {
      if (++requests == k) meddle();
    });
    action();
    service->OnRequest({});
    return requests;
  }

  static int Try(const Action& action) try {
    action();
    return 0;
  } catch (const FsError& error) {
    return error.number();
  } catch (const std::exception& error) {
    ADD_FAILURE() << "not an FsError: " << error.what();
    return -1;
  }
  int TryName(const Action& action) {  // one at a time, as a kernel changes a folder's names
    std::lock_guard lock(names_);
    return Try(action);
  }
  static std::string At(Text name) {  // without a trailing slash
    const std::string path = "/bucket/" + name;
    return path.substr(0, path.find_last_not_of('/') + 1);
  }

  FileSystemOptions options;  // for the next Mount, as what follows
  Disk* disk = &SystemDisk();
  std::string boot = CurrentBoot();
  bool out_of_memory = false;  // whoever signs in
  std::unique_ptr<FileSystem> files;

 protected:
  const Scratch folder_;
  std::filesystem::path cache_ = folder_.path / "0";

 private:
  int Change(void (FileSystem::*change)(Text path), Text name) {
    return TryName([&] { (files.get()->*change)(At(name)); });
  }
  int Use(const std::function<HandlePtr()>& open, const std::function<void(Handle&)>& use) {
    HandlePtr handle;
    const int error = Try([&] {
      handle = open();
      use(*handle);
      files->Flush(*handle);
    });
    if (handle) Close(std::move(handle));
    return error;
  }
  void TakeSnapshot() {
    const std::filesystem::path left = cache_.string() + "0";
    namespace fs = std::filesystem;
    fs::create_directory(left);
    for (const fs::directory_entry& item : fs::recursive_directory_iterator(cache_)) {
      const fs::path copy = left / item.path().lexically_relative(cache_);
      if (item.is_directory()) {
        fs::create_directory(copy);
        continue;
      }
      std::error_code error;
      const auto time = fs::last_write_time(item, error);
      if (!error) fs::copy_file(item, copy, error);
      if (!error) fs::last_write_time(copy, time);
      // What goes on in the background may have taken it away.
      EXPECT_TRUE(!error || error == std::errc::no_such_file_or_directory) << error;
    }
    cache_ = left;
  }
  // It lives on for the handles that it gave, and sends nothing.
  void Abandon() {
    files->Hurry();
    files->Drain();
    killed_.push_back(std::move(files));
  }

  std::mutex names_;
  HostLog log_{false, nullptr};
  PluginLibrary plugin_{Plugin::File(), log_};
  std::unique_ptr<LiveSession> live_;
  std::vector<std::unique_ptr<FileSystem>> killed_;
};

}  // namespace b2drive::mount
