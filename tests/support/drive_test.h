#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "emulator/emulator.h"
#include "emulator/inspection.h"
#include "emulator/seeding.h"
#include "protocol/file_list.h"
#include "tests/support/host_fakes.h"
#include "tests/support/plugin.h"
#include "tests/support/recording_log.h"

using Text = const std::string&;
using Texts = std::vector<std::string>;
using Contents = std::map<std::string, std::string>;  // by name

// An emulator whose CA the test program trusts: it stands in ../Frameworks beside the program,
// shared by every test program of the build. `part_size`: bytes of a large file's parts, 0 for the
// service's usual size.
std::unique_ptr<emulator::Emulator> StartEmulator(int part_size = 0);

// The visible files of "bucket", folders' markers among them.
Contents StoredIn(const emulator::Store& store);

// A test with a service of its own, which has the one bucket "bucket".
class ServiceTest : public testing::Test {
 public:
  explicit ServiceTest(int part_size = 0) : service(StartEmulator(part_size)) {}

  emulator::Store& store() { return service->store(); }

  // Another client.
  emulator::VersionPtr Put(Text name, Text text) {
    return emulator::AddText(store(), "bucket", name, text);
  }
  void Remove(Text name) { emulator::DeleteVersions(store(), "bucket", name); }
  void Hide(Text name) { emulator::HideFile(store(), "bucket", name); }
  Texts Versions(Text name) { return emulator::Versions(store(), "bucket", name); }

  // The service's trouble, so many times; kAlways: until Heal.
  static constexpr int kAlways = -1;
  void Fail(Text call, int status, int times = 1, int skip = 0) {
    service->AddFault({.call = call, .skip = skip, .times = times, .status = status});
  }
  void AnswerWith(Text call, Text body, int times = 1) {
    service->AddFault({.call = call, .times = times, .status = 200, .body = body});
  }
  void Heal() { service->ClearFaults(); }

  std::unique_ptr<emulator::Emulator> service;
};

// The account form of an emulator's master key, or with a key that is wrong, and the option form
// with the emulator as proxy.
std::string AccountForm(const emulator::Emulator& emulator, Text wrong_key = "");
std::string ProxyForm(const emulator::Emulator& emulator, Text type = "HTTP with TUNNEL");

struct ReleaseProtocol {
  void operator()(IProtocol_V2* protocol) const { protocol->Release(); }
};
using ProtocolPtr = std::unique_ptr<IProtocol_V2, ReleaseProtocol>;

// Connects a new protocol object to a service.
AERROR ConnectTo(const emulator::Emulator& emulator, const ProtocolPtr& drive);

_FS_FILE_V2 RecordOf(Text name, std::uint64_t size = 0, Text id = "");

// A connected drive: library, emulator, protocol object. Every case has its own.
class DriveTest : public ServiceTest {
 protected:
  explicit DriveTest(int part_size = 0);
  ~DriveTest() override;

  AERROR Connect() { return drive->Connect(nullptr, AccountForm(*service).c_str()); }
  void SetOpt(const char* key, Text value) { drive->SetOpt(key, value.c_str()); }
  // "key=value key=value".
  void Set(Text options) {
    std::istringstream text(options);
    for (std::string key, value; std::getline(text >> std::ws, key, '=') && text >> value;)
      SetOpt(key.c_str(), value);
  }

  // Stores a file and gives its identifier.
  std::string Store(Text name, Text text) { return bucket + "/" + Put(name, text)->Id(); }
  Texts Stored() { return emulator::VisibleNames(store(), "bucket"); }
  // "name" for files, "name/" for folders, in the listing's order.
  Texts List(Text id) {
    Texts names;
    for (const auto& record : Records(id)) {
      names.push_back(record.name + (record.type == FS_DIRECTORY ? "/" : ""));
    }
    return names;
  }
  std::vector<_FS_FILE_V2> Records(Text id, AERROR expected = SUCCESS) {
    FileList list;
    EXPECT_EQ(drive->GetFileList(id.c_str(), &list, nullptr), expected);
    std::vector<_FS_FILE_V2> records;
    for (const auto& record : list.GetFileList()) records.push_back(*record);
    return records;
  }
  AERROR Read(Text id, long long offset, long long length, FetchedBytes& bytes,
              const std::shared_ptr<_FS_HANDLE>& handle = NewHandle()) {
    return drive->Read(id.c_str(), offset, length, handle, &bytes, nullptr);
  }
  std::string ReadAll(Text id, long long length) {
    FetchedBytes fetched;
    EXPECT_EQ(Read(id, 0, length, fetched), SUCCESS);
    return fetched.bytes;
  }
  AERROR Upload(Text parent, Text name, Text contents) {
    MemoryCache cache(contents);
    _FS_FILE_V2 file = RecordOf(name, contents.size());
    return UploadFrom(cache, parent, file);
  }
  // Uploads from a cache as the record says, and fills the record.
  AERROR UploadFrom(MemoryCache& cache, Text parent, _FS_FILE_V2& file,
                    const std::shared_ptr<_FS_HANDLE>& handle = NewHandle()) {
    return drive->Upload(parent.c_str(), handle, &cache, &file, UPLOAD_DEFAULT, nullptr);
  }
  AERROR Delete(Text id) {
    _FS_FILE_V2 record = RecordOf("", 0, id);
    return drive->Delete(&record, nullptr);
  }
  AERROR DeleteDirectory(Text id) {
    _FS_FILE_V2 record = RecordOf("", 0, id);
    return drive->DeleteDirectory(&record, nullptr);
  }

  RecordingLog log;
  Plugin plugin;
  ProtocolPtr drive;
  const std::string bucket;  // its ID
};
