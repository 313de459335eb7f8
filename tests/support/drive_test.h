#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "emulator/emulator.h"
#include "protocol/file_list.h"
#include "tests/support/host_fakes.h"
#include "tests/support/plugin.h"
#include "tests/support/recording_log.h"

// An emulator whose CA the test program trusts: it stands in ../Frameworks beside the program,
// shared by every test program of the build.
std::unique_ptr<emulator::Emulator> StartEmulator(emulator::Options options = {});

// The account form and the option form with the emulator as proxy.
std::string AccountForm(const std::string& id, const std::string& key);
std::string ProxyForm(const emulator::Emulator& emulator, const std::string& type);

struct ReleaseProtocol {
  void operator()(IProtocol_V2* protocol) const { protocol->Release(); }
};
using ProtocolPtr = std::unique_ptr<IProtocol_V2, ReleaseProtocol>;

// A connected drive: library, emulator with one bucket, protocol object. Every case has its own.
class DriveTest : public testing::Test {
 protected:
  // `part_size`: bytes of a large file's parts, 0 for the service's usual size.
  explicit DriveTest(int part_size = 0);
  ~DriveTest() override;

  AERROR Connect();
  void SetOpt(const char* key, const std::string& value) { drive->SetOpt(key, value.c_str()); }

  std::string NewBucket(const std::string& name);  // its ID
  // Stores a file and gives its identifier.
  std::string Store(const std::string& bucket_id, const std::string& name, std::string contents);
  // "name" for files, "name/" for folders, in the listing's order.
  std::vector<std::string> List(const std::string& id);
  std::vector<_FS_FILE_V2> Records(const std::string& id, AERROR expected = AERROR::SUCCESS);
  AERROR Read(const std::string& id, long long offset, long long length, FetchedBytes& bytes);
  std::string ReadAll(const std::string& id, std::size_t length);
  _FS_FILE_V2 NewFile(const std::string& name, std::uint64_t size) const;
  AERROR Upload(const std::string& parent, const std::string& name, const std::string& contents);
  // Uploads from a cache as the record says, and fills the record.
  AERROR UploadFrom(MemoryCache& cache, const std::string& parent, _FS_FILE_V2& file,
                    const std::shared_ptr<_FS_HANDLE>& handle = NewHandle());
  AERROR Delete(const std::string& id);
  AERROR DeleteDirectory(const std::string& id);

  // What `bucket` holds: visible names in order, and a visible file's contents.
  std::vector<std::string> Stored() const;
  std::string Text(const std::string& name) const;

  void Fail(const std::string& call, int status, int times = 1, int skip = 0);
  void AnswerWith(const std::string& call, const std::string& body);  // once, as 200

  RecordingLog log;
  Plugin plugin;
  std::unique_ptr<emulator::Emulator> service;
  ProtocolPtr drive;
  const std::string bucket;  // ID of "bucket-one"
};
