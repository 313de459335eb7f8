#pragma once

#include <map>
#include <string>
#include <vector>

#include "protocol/protocol.h"

namespace b2drive {

// A protocol object that lists what it is told and can do nothing else. It
// counts the listings.
class FakeProtocol final : public IProtocol_V2 {
 public:
  std::map<std::string, std::vector<_FS_FILE_V2>> listings;  // by identifier
  std::map<std::string, int> asked;

  void AddFolder(const std::string& parent, const std::string& name, const std::string& id) {
    Add(parent, name, id, FS_DIRECTORY);
  }
  void AddFile(const std::string& parent, const std::string& name, const std::string& id) {
    Add(parent, name, id, FS_FILE);
  }

  AERROR GetFileList(const char* id, IFileList* sink, char**) override {
    ++asked[id];
    auto found = listings.find(id);
    if (found == listings.end()) return FAILED;
    for (const _FS_FILE_V2& record : found->second) {
      if (sink->AddFile(&record) != SUCCESS) return FAILED;
    }
    return SUCCESS;
  }

  void Release() override {}
  AERROR GetUserInfo(char*, int*) override { return NOT_SUPPORTED; }
  AERROR GetQuota(unsigned long long*, unsigned long long*) override { return NOT_SUPPORTED; }
  AERROR SetQuota(unsigned long long, unsigned long long) override { return NOT_SUPPORTED; }
  AERROR GetType(char**) override { return NOT_SUPPORTED; }
  AERROR GetChanges(IFileChanges*, char**) override { return NOT_SUPPORTED; }
  AERROR GetFileInfo(const char*, _FS_FILE_V2*, char**) override { return NOT_SUPPORTED; }
  AERROR Rename(const char*, const char*, _FS_FILE_V2*, char**) override { return NOT_SUPPORTED; }
  AERROR Move(const char*, const char*, _FS_FILE_V2*, char**) override { return NOT_SUPPORTED; }
  AERROR MoveDir(const char*, const char*, _FS_FILE_V2*, char**) override { return NOT_SUPPORTED; }
  AERROR CreateDirectory(const char*, _FS_FILE_V2*, char**) override { return NOT_SUPPORTED; }
  AERROR Delete(_FS_FILE_V2*, char**) override { return NOT_SUPPORTED; }
  AERROR DeleteDirectory(_FS_FILE_V2*, char**) override { return NOT_SUPPORTED; }
  AERROR Read(const char*, long long, long long, std::shared_ptr<_FS_HANDLE>, IFetchCallback*,
              char**) override {
    return NOT_SUPPORTED;
  }
  AERROR Upload(const char*, std::shared_ptr<_FS_HANDLE>, ICacheIO*, _FS_FILE_V2*, UPLOAD_FLAG,
                char**) override {
    return NOT_SUPPORTED;
  }
  AERROR SetFileTime(const char*, const char*, const char*, const char*, _FS_FILE_V2*,
                     char**) override {
    return NOT_SUPPORTED;
  }
  AERROR SetOpt(const char*, const char*) override { return SUCCESS; }
  AERROR GetCredential(char*, int*) override { return NOT_SUPPORTED; }
  int GetFeature() override { return 0; }
  void SetQuotaCallback(void*, bool (*)(void*, void*, long long*, long long*)) override {}
  void FreeMsg(char*) override {}
  AERROR Connect(IProtocolAuth*, const char*) override { return NOT_SUPPORTED; }
  AERROR GetIdentifier(char*, int*) override { return NOT_SUPPORTED; }
  AERROR GetRootID(char*, int*) override { return NOT_SUPPORTED; }
  AERROR SetChangesCallback(IFileChanges*) override { return NOT_SUPPORTED; }

 private:
  void Add(const std::string& parent, const std::string& name, const std::string& id,
           FS_FILE_TYPE type) {
    _FS_FILE_V2 record;
    record.name = name;
    record.id = id;
    record.type = type;
    listings[parent].push_back(record);
    if (type == FS_DIRECTORY) listings.try_emplace(id);
  }
};

}  // namespace b2drive
