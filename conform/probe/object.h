#pragma once

#include <string>

#include "conform/probe/orders.h"
#include "conform/probe/store.h"
#include "protocol/protocol.h"

namespace probe {

// Set by the exported functions; may be null.
extern ILog* host_log;

void Say(LOGLEVEL level, const char* format, ...) __attribute__((format(printf, 2, 3)));
// The line of an answer that never was.
void SayAnswer(const char* query, const char* method, int status);

// What a module makes of an account, and what it does wrong as Orders say. Misdeeds of every slot:
// code (fails with that code at once), done-code (does its work and fails then), slow (waits so
// many milliseconds), lines (writes odd lines), die (ends the process), die-after (does that when
// its work is done). The others stand where they are done.
class Probe final : public IProtocol_V2 {
 public:
  void Release() override { delete this; }
  AERROR GetUserInfo(char* buffer, int* size) override;
  AERROR GetQuota(unsigned long long* total, unsigned long long* used) override;
  AERROR SetQuota(unsigned long long, unsigned long long) override { return NOT_SUPPORTED; }
  AERROR GetType(char** type) override;
  AERROR GetFileList(const char* id, IFileList* sink, char** message) override;
  AERROR GetChanges(IFileChanges*, char**) override { return SUCCESS; }
  AERROR GetFileInfo(const char* id, _FS_FILE_V2* out, char** message) override;
  AERROR Rename(const char*, const char*, _FS_FILE_V2*, char**) override { return NOT_SUPPORTED; }
  AERROR Move(const char*, const char*, _FS_FILE_V2*, char**) override { return NOT_SUPPORTED; }
  AERROR MoveDir(const char*, const char*, _FS_FILE_V2*, char**) override { return NOT_SUPPORTED; }
  AERROR CreateDirectory(const char* id, _FS_FILE_V2* out, char** message) override;
  AERROR Delete(_FS_FILE_V2* file, char** message) override;
  AERROR DeleteDirectory(_FS_FILE_V2* dir, char** message) override;
  AERROR Read(const char* id, long long offset, long long length,
              std::shared_ptr<_FS_HANDLE> handle, IFetchCallback* callback,
              char** message) override;
  AERROR Upload(const char* id, std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
                _FS_FILE_V2* out, UPLOAD_FLAG flags, char** message) override;
  AERROR SetFileTime(const char*, const char*, const char*, const char*, _FS_FILE_V2*,
                     char**) override {
    return NOT_SUPPORTED;
  }
  AERROR SetOpt(const char* key, const char* value) override;
  AERROR GetCredential(char*, int*) override { return FS_NEED_AUTHORIZE; }
  int GetFeature() override { return 320; }
  void SetQuotaCallback(void*, bool (*)(void*, void*, long long*, long long*)) override {}
  void FreeMsg(char* message) override;
  AERROR Connect(IProtocolAuth* auth, const char* connect_info) override;
  AERROR GetIdentifier(char*, int*) override { return SUCCESS; }
  AERROR GetRootID(char* buffer, int* size) override;
  AERROR SetChangesCallback(IFileChanges*) override { return SUCCESS; }
};

}  // namespace probe
