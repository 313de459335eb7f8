#include "tests/support/drive_test.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "util/executable_path.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// Test programs run side by side, and the first one makes the CA.
class FileLock {
 public:
  explicit FileLock(const fs::path& file)
      : descriptor_(open(file.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600)) {
    if (descriptor_ < 0 || flock(descriptor_, LOCK_EX) != 0) throw std::runtime_error("no lock");
  }
  ~FileLock() { close(descriptor_); }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  int descriptor_;
};

fs::path FrameworksBesideThisProgram() {
  return fs::path(util::ExecutablePath()).parent_path().parent_path() / "Frameworks";
}

}  // namespace

std::unique_ptr<emulator::Emulator> StartEmulator(emulator::Options options) {
  const fs::path directory = FrameworksBesideThisProgram();
  fs::create_directories(directory);
  const FileLock lock(directory / "lock");
  options.ca_file = directory / "cacert.pem";
  options.ca_key_file = directory / "ca-key.pem";
  return std::make_unique<emulator::Emulator>(options);
}

std::string AccountForm(const std::string& id, const std::string& key) {
  return json{{"values", {{"account_id", {{"value", id}}}, {"application_key", {{"value", key}}}}}}
      .dump();
}

std::string ProxyForm(const emulator::Emulator& emulator, const std::string& type) {
  const json proxy = {{"type", type},
                      {"host", "127.0.0.1"},
                      {"port", emulator.port()},
                      {"user", ""},
                      {"password", ""}};
  return json{{"values", {{"proxy", {{"value", proxy}}}}}}.dump();
}

DriveTest::DriveTest(emulator::Options options)
    : service(StartEmulator(std::move(options))), drive(plugin.NewProtocol()) {
  plugin.Get<module_api::BindLogger>("BindLogger")(&log);
  SetOpt("option_fields", ProxyForm(*service, "HTTP with TUNNEL"));
  if (Connect() != AERROR::SUCCESS) throw std::runtime_error("not connected");
}

DriveTest::~DriveTest() {
  drive.reset();
  plugin.Get<module_api::UnbindLogger>("UnbindLogger")();
}

AERROR DriveTest::Connect() {
  return drive->Connect(nullptr, AccountForm(service->account_id(), service->key()).c_str());
}

std::string DriveTest::NewBucket(const std::string& name) {
  emulator::Bucket bucket;
  bucket.name = name;
  return service->store().CreateBucket(bucket).id;
}

std::string DriveTest::Store(const std::string& bucket_id, const std::string& name,
                             std::string contents) {
  emulator::NewFile file;
  file.name = name;
  const auto content = emulator::Content::FromText(std::move(contents));
  return bucket_id + "/" + service->store().AddFile(bucket_id, file, content)->Id();
}

std::vector<_FS_FILE_V2> DriveTest::Records(const std::string& id, AERROR expected) {
  FileList list;
  EXPECT_EQ(drive->GetFileList(id.c_str(), &list, nullptr), expected);
  std::vector<_FS_FILE_V2> records;
  for (const auto& record : list.GetFileList()) records.push_back(*record);
  return records;
}

std::vector<std::string> DriveTest::List(const std::string& id) {
  std::vector<std::string> names;
  for (const _FS_FILE_V2& record : Records(id)) {
    names.push_back(record.name + (record.type == FS_DIRECTORY ? "/" : ""));
  }
  return names;
}

AERROR DriveTest::Read(const std::string& id, long long offset, long long length,
                       FetchedBytes& bytes) {
  return drive->Read(id.c_str(), offset, length, NewHandle(), &bytes, nullptr);
}

std::string DriveTest::ReadAll(const std::string& id, std::size_t length) {
  FetchedBytes fetched;
  EXPECT_EQ(Read(id, 0, static_cast<long long>(length), fetched), AERROR::SUCCESS);
  return fetched.bytes;
}

_FS_FILE_V2 DriveTest::NewFile(const std::string& name, std::uint64_t size) const {
  _FS_FILE_V2 file;
  file.name = name;
  file.size = size;
  return file;
}

AERROR DriveTest::Upload(const std::string& parent, const std::string& name,
                         const std::string& contents) {
  MemoryCache cache(contents);
  _FS_FILE_V2 file = NewFile(name, contents.size());
  return drive->Upload(parent.c_str(), NewHandle(), &cache, &file, UPLOAD_DEFAULT, nullptr);
}

void DriveTest::Fail(const std::string& call, int status, int times, int skip) {
  emulator::Fault fault;
  fault.call = call;
  fault.status = status;
  fault.times = times;
  fault.skip = skip;
  service->AddFault(fault);
}
