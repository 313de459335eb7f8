#include <unistd.h>

#include <algorithm>
#include <atomic>

#include "host/plugin/proxy.h"
#include "tests/mount/file_system_test.h"
#include "tests/support/drive_test.h"

namespace b2drive::mount {
namespace {

namespace fs = std::filesystem;
using Contents = std::map<std::string, std::string>;

constexpr unsigned kPatience = 100;  // seconds, after which a case hangs

emulator::Options SmallParts() {
  emulator::Options options;
  options.recommended_part_size = options.absolute_minimum_part_size = FileSystemTest::kPart;
  return options;
}

}  // namespace

FileSystemTest::FileSystemTest() : service(StartEmulator(SmallParts())) {
  alarm(kPatience);
  std::string folder = (fs::temp_directory_path() / "b2mount-test-XXXXXX").string();
  scratch_ = mkdtemp(folder.data());
  cache_ = scratch_ / "0";
  emulator::EnsureBucket(service->store(), "bucket");
  plugin_ = std::make_unique<PluginLibrary>(B2_PLUGIN_FILE, log_);
  SignIn();
  options.retries = 0;
  Mount();
}

void FileSystemTest::SignIn() {
  files.reset();
  SessionOptions session;
  session.proxy = ParseProxy("http://127.0.0.1:" + std::to_string(service->port()));
  const Account account{service->account_id(), service->key(), ""};
  live_ = std::make_unique<LiveSession>([=, this] {
    if (out_of_memory) throw std::bad_alloc();
    return std::make_shared<Session>(*plugin_, account, session);
  });
}

FileSystemTest::~FileSystemTest() {
  files.reset();
  killed_.clear();
  fs::remove_all(scratch_);
  alarm(0);
}

int FileSystemTest::Try(const Action& action) try {
  action();
  return 0;
} catch (const FsError& error) {
  return error.number();
} catch (const std::exception& error) {
  ADD_FAILURE() << "not an FsError: " << error.what();
  return -1;
}

int FileSystemTest::TryName(const Action& action) {
  std::lock_guard lock(names_);
  return Try(action);
}

std::string FileSystemTest::At(Text name) {
  const std::string path = "/bucket/" + name;
  return path.substr(0, path.find_last_not_of('/') + 1);
}

int FileSystemTest::Use(const std::function<HandlePtr()>& open,
                        const std::function<void(Handle&)>& use) {
  HandlePtr handle;
  const int error = Try([&] {
    handle = open();
    use(*handle);
    files->Flush(*handle);
  });
  if (handle) Close(std::move(handle));
  return error;
}

FileSystemTest::HandlePtr FileSystemTest::Create(Text name, Text text) {
  HandlePtr handle;
  {
    std::lock_guard lock(names_);
    handle = files->Create(At(name));
  }
  if (!text.empty()) files->Write(*handle, 0, text.data(), text.size());
  return handle;
}

int FileSystemTest::Write(Text name, Text text) {
  return Use([&] { return Create(name, text); }, [](Handle&) {});
}

int FileSystemTest::WriteMapped(Text name, Text text) {
  return Try([&] {
    HandlePtr handle = Open(name);
    files->Write(*handle, 0, text.data(), text.size());
    Close(std::move(handle));
  });
}

int FileSystemTest::Append(Text name, Text text) {
  return Use([&] { return Open(name); },
             [&](Handle& handle) {
               files->Write(handle, handle.file().Stat().size, text.data(), text.size());
             });
}

std::string FileSystemTest::Read(Text name, std::uint64_t from) {
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

std::set<std::string> FileSystemTest::Names(Text folder) {
  std::set<std::string> names;
  files->List(At(folder),
              [&](const Entry& entry) { names.insert(entry.name + (entry.folder ? "/" : "")); });
  return names;
}

void FileSystemTest::Remount() {
  if (files) files->Drain();
  files.reset();
  Mount();
}

void FileSystemTest::TakeSnapshot() {
  const fs::path left = cache_.string() + "0";
  fs::copy(cache_, left, fs::copy_options::recursive);
  cache_ = left;
}

// It lives on for the handles that it gave, and sends nothing.
void FileSystemTest::Abandon() {
  files->Hurry();
  files->Drain();
  killed_.push_back(std::move(files));
}

void FileSystemTest::Kill() {
  TakeSnapshot();
  Abandon();
}

void FileSystemTest::KillAt(int k, const Action& action) {
  RequestsOf(action, k, [this] {
    TakeSnapshot();
    service->AddFault({.skip = 1, .times = -1, .status = 503});
  });
  Abandon();
  Heal();
}

std::vector<fs::path> FileSystemTest::CacheFiles() {
  std::vector<fs::path> found;
  for (const auto& item : fs::recursive_directory_iterator(cache_)) {
    if (item.is_regular_file()) found.push_back(item.path());
  }
  return found;
}

Contents FileSystemTest::Shown(Text folder) {
  Contents shown;
  for (Text name : Names(folder)) {
    const std::string inner = folder + name;
    name.ends_with('/') ? shown.merge(Shown(inner)) : void(shown[inner] = Read(inner));
  }
  return shown;
}

void FileSystemTest::ExpectAgreement() {
  EXPECT_EQ(files->Drain().size(), 0u);
  Remount();
  EXPECT_EQ(Shown(), Stored());
}

Contents FileSystemTest::Stored() {
  Contents stored;
  for (Text name : emulator::VisibleNames(service->store(), "bucket")) {
    if (name.ends_with("/.bzEmpty")) continue;
    stored[name] = emulator::ReadText(service->store(), "bucket", name);
  }
  return stored;
}

void FileSystemTest::Fail(Text call, int status, int times) {
  service->AddFault({.call = call, .times = times, .status = status});
}

void FileSystemTest::AnswerWith(Text call, Text body, int times) {
  service->AddFault({.call = call, .times = times, .status = 200, .body = body});
}

int FileSystemTest::RequestsOf(const Action& action, int k, const Action& meddle) {
  std::atomic<int> requests = 0;
  service->OnRequest([&](const emulator::Request&) {
    if (++requests == k) meddle();
  });
  action();
  service->OnRequest({});
  return requests;
}

}  // namespace b2drive::mount
