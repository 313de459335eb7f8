#include "tests/support/drive_test.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "emulator/inspection.h"
#include "emulator/seeding.h"
#include "util/executable_path.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

emulator::Options WithParts(int size) {
  if (size == 0) return {};
  return {.recommended_part_size = size, .absolute_minimum_part_size = 100};
}

}  // namespace

std::unique_ptr<emulator::Emulator> StartEmulator(emulator::Options options) {
  const auto directory =
      fs::path(util::ExecutablePath()).parent_path().parent_path() / "Frameworks";
  fs::create_directories(directory);
  options.ca_file = directory / "cacert.pem";
  options.ca_key_file = directory / "ca-key.pem";
  return std::make_unique<emulator::Emulator>(options);
}

std::string AccountForm(const std::string& id, const std::string& key) {
  return json{{"values", {{"account_id", {{"value", id}}}, {"application_key", {{"value", key}}}}}}
      .dump();
}

std::string ProxyForm(const emulator::Emulator& emulator, const std::string& type) {
  json proxy{{"type", type}, {"host", "127.0.0.1"}, {"user", ""}, {"password", ""}};
  proxy["port"] = emulator.port();
  return json{{"values", {{"proxy", {{"value", proxy}}}}}}.dump();
}

DriveTest::DriveTest(int part_size)
    : service(StartEmulator(WithParts(part_size))),
      drive(plugin.NewProtocol()),
      bucket(NewBucket("bucket-one")) {
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
  return emulator::EnsureBucket(service->store(), name).id;
}

std::string DriveTest::Store(const std::string& bucket_id, const std::string& name,
                             std::string contents) {
  const auto content = emulator::Content::FromText(std::move(contents));
  return bucket_id + "/" + service->store().AddFile(bucket_id, {.name = name}, content)->Id();
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
  return UploadFrom(cache, parent, file);
}

AERROR DriveTest::UploadFrom(MemoryCache& cache, const std::string& parent, _FS_FILE_V2& file,
                             const std::shared_ptr<_FS_HANDLE>& handle) {
  return drive->Upload(parent.c_str(), handle, &cache, &file, UPLOAD_DEFAULT, nullptr);
}

AERROR DriveTest::Delete(const std::string& id) {
  _FS_FILE_V2 record;
  record.id = id;
  return drive->Delete(&record, nullptr);
}

AERROR DriveTest::DeleteDirectory(const std::string& id) {
  _FS_FILE_V2 record;
  record.id = id;
  return drive->DeleteDirectory(&record, nullptr);
}

std::vector<std::string> DriveTest::Stored() const {
  return emulator::VisibleNames(service->store(), "bucket-one");
}

std::string DriveTest::Text(const std::string& name) const {
  return emulator::ReadText(service->store(), "bucket-one", name);
}

void DriveTest::Fail(const std::string& call, int status, int times, int skip) {
  service->AddFault({.call = call, .skip = skip, .times = times, .status = status});
}

void DriveTest::AnswerWith(const std::string& call, const std::string& body) {
  service->AddFault({.call = call, .status = 200, .body = body});
}
