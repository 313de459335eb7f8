#include <unistd.h>

#include <algorithm>
#include <barrier>
#include <thread>

#include "emulator/inspection.h"
#include "emulator/seeding.h"
#include "host/mount/fs_error.h"
#include "host/proxy.h"
#include "tests/mount/file_system_test.h"
#include "tests/support/drive_test.h"

namespace b2drive::mount {
namespace {

namespace fs = std::filesystem;

constexpr char kBucket[] = "bucket";
constexpr unsigned kPatience = 120;  // seconds, after which a case hangs

std::string PathOf(const std::string& name) { return name.empty() ? "/bucket" : "/bucket/" + name; }

emulator::Options Service(std::int64_t part_size) {
  emulator::Options options;
  options.recommended_part_size = part_size;
  options.absolute_minimum_part_size = part_size;
  return options;
}

std::vector<std::string> NamesOf(const std::vector<Delay>& delays) {
  std::vector<std::string> names;
  for (const Delay& delay : delays) names.push_back(delay.path.substr(PathOf(" ").size() - 1));
  return names;
}

}  // namespace

FileSystemTest::FileSystemTest() : service(StartEmulator(Service(kPart))) {
  alarm(kPatience);
  std::string folder = (fs::temp_directory_path() / "b2mount-test-XXXXXX").string();
  scratch_ = mkdtemp(folder.data());
  cache_ = scratch_ / "0";
  emulator::EnsureBucket(service->store(), kBucket);
  plugin_ = std::make_unique<PluginLibrary>(B2_PLUGIN_FILE, log_);
  SessionOptions session;
  session.proxy = ParseProxy("http://127.0.0.1:" + std::to_string(service->port()));
  const Account account{service->account_id(), service->key(), ""};
  live_ = std::make_unique<LiveSession>(
      [=, this] { return std::make_shared<Session>(*plugin_, account, session); });
  options.retries = 0;
  Mount();
}

FileSystemTest::~FileSystemTest() {
  Abandon();
  live_.reset();
  plugin_.reset();
  fs::remove_all(scratch_);
  alarm(0);
}

void FileSystemTest::Mount() { files = std::make_unique<FileSystem>(*live_, options, cache_); }

void FileSystemTest::Unmount() {
  while (!open_.empty()) Close(*open_.back());
  files->Drain();
  files.reset();
}

void FileSystemTest::Remount() {
  Unmount();
  Mount();
}

void FileSystemTest::TakeSnapshot() {
  const fs::path left = cache_.string() + "0";
  fs::copy(cache_, left, fs::copy_options::recursive);
  cache_ = left;
}

void FileSystemTest::Abandon() {
  if (!files) return;
  files->Hurry();
  open_.clear();
  files.reset();
}

void FileSystemTest::Kill() {
  TakeSnapshot();
  Abandon();
}

void FileSystemTest::KillAt(int k, const std::function<void()>& action) {
  Meddle(
      k,
      [this] {
        TakeSnapshot();
        Fail("", 503);
      },
      action);
  Abandon();
}

std::vector<fs::path> FileSystemTest::CacheFiles() {
  std::vector<fs::path> found;
  for (const auto& item : fs::recursive_directory_iterator(cache_)) {
    if (item.is_regular_file()) found.push_back(item.path());
  }
  return found;
}

std::vector<std::string> FileSystemTest::Waiting() { return NamesOf(files->Waiting()); }

std::vector<std::string> FileSystemTest::Drain() { return NamesOf(files->Drain()); }

int FileSystemTest::Write(const std::string& name, const std::string& text) {
  std::unique_ptr<Handle> handle;
  const int error = Errno([&] {
    handle = files->Create(PathOf(name));
    files->Write(*handle, 0, text.data(), text.size());
    files->Flush(*handle);
  });
  if (handle) files->Close(std::move(handle));
  return error;
}

int FileSystemTest::Append(const std::string& name, const std::string& text) {
  std::unique_ptr<Handle> handle;
  const int error = Errno([&] {
    handle = files->Open(PathOf(name), true, false);
    files->Write(*handle, handle->file().Stat().size, text.data(), text.size());
    files->Flush(*handle);
  });
  if (handle) files->Close(std::move(handle));
  return error;
}

int FileSystemTest::Resize(const std::string& name, std::uint64_t size) {
  return Errno([&] { files->Truncate(PathOf(name), size); });
}

std::string FileSystemTest::Read(const std::string& name) {
  std::unique_ptr<Handle> handle;
  std::string text;
  const int error = Errno([&] {
    handle = files->Open(PathOf(name), false, false);
    std::string piece(64UL << 10, '\0');
    while (const std::size_t got =
               handle->file().Read(handle->reader, text.size(), piece.data(), piece.size())) {
      text.append(piece, 0, got);
    }
  });
  if (handle) files->Close(std::move(handle));
  return error == 0 ? text : "errno " + std::to_string(error);
}

int FileSystemTest::Rename(const std::string& from, const std::string& to) {
  return Errno([&] { files->Rename(PathOf(from), PathOf(to), true); });
}

int FileSystemTest::Unlink(const std::string& name) {
  return Errno([&] { files->Unlink(PathOf(name)); });
}

int FileSystemTest::MakeFolder(const std::string& name) {
  return Errno([&] { files->MakeFolder(PathOf(name)); });
}

int FileSystemTest::RemoveFolder(const std::string& name) {
  return Errno([&] { files->RemoveFolder(PathOf(name)); });
}

std::string FileSystemTest::Names(const std::string& folder) {
  std::string names;
  const int error = Errno([&] {
    files->List(PathOf(folder), [&](const std::string& name, const Attributes& attributes) {
      names += (names.empty() ? "" : " ") + name + (attributes.folder ? "/" : "");
    });
  });
  return error == 0 ? names : "errno " + std::to_string(error);
}

Handle& FileSystemTest::Keep(std::unique_ptr<Handle> handle) {
  return *open_.emplace_back(std::move(handle));
}

Handle& FileSystemTest::Open(const std::string& name) {
  return Keep(files->Open(PathOf(name), true, false));
}

Handle& FileSystemTest::Create(const std::string& name) {
  return Keep(files->Create(PathOf(name)));
}

int FileSystemTest::Write(Handle& handle, const std::string& text) {
  return Errno([&] { files->Write(handle, 0, text.data(), text.size()); });
}

int FileSystemTest::Flush(Handle& handle) {
  return Errno([&] { files->Flush(handle); });
}

std::unique_ptr<Handle> FileSystemTest::Take(Handle& handle) {
  const auto found =
      std::ranges::find_if(open_, [&](const auto& open) { return open.get() == &handle; });
  std::unique_ptr<Handle> taken = std::move(*found);
  open_.erase(found);
  return taken;
}

void FileSystemTest::Close(Handle& handle) { files->Close(Take(handle)); }

void FileSystemTest::CloseAtOnce(Handle& one, Handle& other) {
  std::barrier both(2);
  const auto close = [&](std::unique_ptr<Handle> handle) {
    both.arrive_and_wait();
    files->Close(std::move(handle));
  };
  std::thread thread(close, Take(one));
  close(Take(other));
  thread.join();
}

void FileSystemTest::Walk(const std::string& folder, std::map<std::string, std::string>& found) {
  std::vector<std::string> folders;
  files->List(PathOf(folder), [&](const std::string& name, const Attributes& attributes) {
    const std::string inner = folder.empty() ? name : folder + "/" + name;
    if (attributes.folder) return folders.push_back(inner);
    found[inner];
  });
  for (const std::string& inner : folders) Walk(inner, found);
}

std::map<std::string, std::string> FileSystemTest::MountedAfresh() {
  Remount();
  std::map<std::string, std::string> found;
  Walk("", found);
  for (auto& [name, text] : found) text = Read(name);
  return found;
}

void FileSystemTest::Put(const std::string& name, const std::string& text) {
  emulator::AddText(service->store(), kBucket, name, text);
}

void FileSystemTest::Remove(const std::string& name) {
  for (const auto& version : emulator::AllVersions(service->store(), kBucket)) {
    if (version->name == name) service->store().Delete(name, version->Id());
  }
}

void FileSystemTest::Hide(const std::string& name) {
  service->store().Hide(service->store().FindBucket(kBucket)->id, name);
}

std::map<std::string, std::string> FileSystemTest::Stored() {
  std::map<std::string, std::string> stored;
  for (const std::string& name : emulator::VisibleNames(service->store(), kBucket)) {
    if (!name.ends_with("/.bzEmpty")) stored[name] = Stored(name);
  }
  return stored;
}

std::string FileSystemTest::Stored(const std::string& name) {
  const auto bucket = service->store().FindBucket(kBucket);
  const auto version = service->store().Visible(bucket->id, name);
  return version ? version->content->Text() : "none";
}

std::vector<std::string> FileSystemTest::Versions(const std::string& name) {
  std::vector<std::string> contents;
  for (const auto& version : emulator::AllVersions(service->store(), kBucket)) {
    if (version->name != name || version->action != emulator::Action::kUpload) continue;
    contents.push_back(version->content->Text());
  }
  return contents;
}

std::vector<std::string> FileSystemTest::Aside(const std::string& name) {
  std::vector<std::string> contents;
  for (const auto& [stored, text] : Stored()) {
    if (stored.starts_with(name + " (unsent ") && stored.ends_with(")")) contents.push_back(text);
  }
  return contents;
}

void FileSystemTest::Fail(const std::string& call, int status, int times) {
  service->AddFault({.call = call, .times = times, .status = status});
}

void FileSystemTest::AnswerWith(const std::string& call, const std::string& body, int times) {
  service->AddFault({.call = call, .times = times, .status = 200, .body = body});
}

int FileSystemTest::Requests() {
  const auto requests = service->requests();
  return static_cast<int>(std::ranges::count_if(
      requests, [](const emulator::Request& request) { return request.call != "CONNECT"; }));
}

int FileSystemTest::RequestsOf(const std::function<void()>& action) {
  service->ClearRequests();
  action();
  return Requests();
}

void FileSystemTest::Meddle(int k, const std::function<void()>& meddle,
                            const std::function<void()>& action) {
  service->ClearRequests();
  service->AddFault({.skip = k - 1, .delay = std::chrono::milliseconds(300)});
  std::atomic<bool> done = false;
  std::thread other([&] {
    while (!done && Requests() < k) std::this_thread::yield();
    if (!done) meddle();
  });
  action();
  done = true;
  other.join();
  Heal();
}

}  // namespace b2drive::mount
