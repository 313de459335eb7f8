#pragma once

#include <memory>
#include <string>

#include "conform/host.h"
#include "conform/module.h"
#include "conform/service.h"

namespace conform {

using Handle = std::shared_ptr<_FS_HANDLE>;
inline Handle NewHandle() { return std::make_shared<_FS_HANDLE>(); }

_FS_FILE_V2 RecordOf(Text name, std::uint64_t size = 0, Text id = "");

// The account form, and the option form with the emulator as proxy.
std::string AccountForm(Text key = Service::kKey);
std::string ProxyForm(int port, Text user = "", Text password = "");

// Contents in which no two places look the same.
std::string Bytes(std::size_t size, int seed = 0);

// Smaller parts than the service's, so that large files are small.
inline const Arguments kSmallParts = {"--recommended-part-size=100000", "--minimum-part-size=100"};
constexpr std::size_t kPart = 100'000;  // bytes

// An object of the module, connected to a service of its own. What is asked of it are its slots
// with the arguments that most cases leave alone.
class Drive {
 public:
  // Throws std::runtime_error when it does not connect.
  explicit Drive(const Arguments& emulator_options = {});
  ~Drive();
  Drive(const Drive&) = delete;

  void SetOpt(const char* key, Text value) const { object->SetOpt(key, value.c_str()); }
  AERROR Connect(Text form = AccountForm()) const { return object->Connect(nullptr, form.c_str()); }
  // Another object, connected to the same service.
  Object Another() const;

  // A file's identifier.
  std::string Put(Text name, Text text) { return Id(service.Put(name, text)); }
  std::string Id(Text rest) const { return service.bucket() + "/" + rest; }

  AERROR GetList(Text id, List& list) const;
  // Names as List has them; a finding when it fails.
  Texts Names(Text id) const;
  _FS_FILE_V2 Only(Text id) const;  // a folder's only record
  AERROR Read(Text id, long long offset, long long length, Fetched& fetched,
              const Handle& handle = NewHandle()) const;
  // "" and a finding when it fails.
  std::string ReadAll(Text id, std::size_t length) const;
  AERROR Upload(Text parent, Cache& cache, _FS_FILE_V2& file,
                const Handle& handle = NewHandle()) const;
  AERROR Upload(Text name, Text contents) const;  // into kBucket
  AERROR Delete(Text id) const;
  AERROR DeleteDirectory(Text id) const;
  AERROR CreateDirectory(Text parent, Text name, _FS_FILE_V2* out = nullptr) const;
  AERROR Info(Text id, FS_FILE_TYPE type, _FS_FILE_V2& out) const;

  KeptLog log;
  Service service;
  Module module;
  Object object;
};

}  // namespace conform
