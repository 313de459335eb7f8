// Prints what a host that was built before relies on: sizes and offsets of the records, slots and
// types of the interfaces' functions, types of the exported ones, and codes. boundary.txt is how it
// has to be.
#include <cstdio>
#include <cstring>
#include <typeinfo>

#include "protocol/module.h"
#include "protocol/protocol.h"

namespace {

template <class Record, class... Members>
void PrintRecord(const char* name, Members Record::*... members) {
  const Record record{};
  const auto offset = [&](const auto& member) {
    return reinterpret_cast<const char*>(&member) - reinterpret_cast<const char*>(&record);
  };
  std::printf("record %s %zu:", name, sizeof record);
  (std::printf(" %td+%zu", offset(record.*members), sizeof(record.*members)), ...);
  std::printf("\n");
}

// A pointer to a virtual member holds its offset in the table, and one more where code may stand at
// odd addresses.
template <class Member>
int Slot(Member member) {
  std::ptrdiff_t offset = 0;
  std::memcpy(&offset, &member, sizeof offset);
  return static_cast<int>(offset / static_cast<std::ptrdiff_t>(sizeof(void*)));
}

template <class... Members>
void PrintSlots(const char* name, Members... members) {
  (std::printf("%s %d %s\n", name, Slot(members), typeid(members).name()), ...);
}

template <class... Functions>
void PrintFunctions() {
  (std::printf("exported %s\n", typeid(Functions).name()), ...);
}

void PrintRecords() {
  PrintRecord("_FS_FILE_V1", &_FS_FILE_V1::id, &_FS_FILE_V1::type, &_FS_FILE_V1::size,
              &_FS_FILE_V1::first_time, &_FS_FILE_V1::second_time, &_FS_FILE_V1::third_time,
              &_FS_FILE_V1::name, &_FS_FILE_V1::extra);
  PrintRecord("_FS_FILE_V2", &_FS_FILE_V2::texts, &_FS_FILE_V2::last);
  PrintRecord("_PROXYINFO", &_PROXYINFO::type, &_PROXYINFO::host, &_PROXYINFO::port,
              &_PROXYINFO::user, &_PROXYINFO::password);
  PrintRecord("_FS_TRANSFER", &_FS_TRANSFER::state, &_FS_TRANSFER::offset);
  PrintRecord("_FS_HANDLE", &_FS_HANDLE::progress, &_FS_HANDLE::progress_context,
              &_FS_HANDLE::transfer);
}

void PrintInterfaces() {
  using P = IProtocol_V2;
  PrintSlots("IProtocol", &P::Release, &P::GetUserInfo, &P::GetQuota, &P::SetQuota, &P::GetType,
             &P::GetFileList, &P::GetChanges, &P::GetFileInfo, &P::Rename, &P::Move, &P::MoveDir,
             &P::CreateDirectory, &P::Delete, &P::DeleteDirectory, &P::Read, &P::Upload,
             &P::SetFileTime, &P::SetOpt, &P::GetCredential, &P::GetFeature, &P::SetQuotaCallback,
             &P::FreeMsg, &P::Connect, &P::GetIdentifier, &P::GetRootID, &P::SetChangesCallback);
  PrintSlots("ILog", &ILog::SetLevels, &ILog::IsNetworkTraceEnabled, &ILog::Log);
  PrintSlots("IProtocolManager", &IProtocolManager::GetText);
  PrintSlots("IProtocolAuth", &IProtocolAuth::Authorize);
  PrintSlots("IFileList", &IFileList::AddFile);
  PrintSlots("IFetchCallback", &IFetchCallback::OnFetched);
  PrintSlots("ICacheIO", &ICacheIO::Write, &ICacheIO::Read);
  PrintSlots("IFileChanges", &IFileChanges::AddChange);
  PrintSlots("IAsyncObj", &IAsyncObj::Process, &IAsyncObj::Canceled);
}

}  // namespace

int main() {
  PrintRecords();
  PrintInterfaces();
  using namespace module_api;
  PrintFunctions<GetSupports, GetSupportProtocol, GetProtocolVersion, GetProtocol, BindAsyncQ,
                 BindLogger, UnbindAsyncQ, UnbindLogger, FreeP, GetAuthType, GetAuthFields,
                 GetOptFields, OnLoad, GetCodeName>();
  for (int code = -10'000; code < 100'000; ++code) {
    const char* const name = GetAERRORA(static_cast<AERROR>(code));
    if (std::strcmp(name, "Unknown") != 0) std::printf("code %d %s\n", code, name);
  }
  std::printf("levels %d %d %d %d\n", LOGLEVEL_TRACE, LOGLEVEL_INFO, LOGLEVEL_WARNING,
              LOGLEVEL_ERROR);
  std::printf("values %u %u %u %d %d %d %d %d %d\n", FS_NONE, FS_FILE, FS_DIRECTORY, UPLOAD_DEFAULT,
              TRANSFER_IDLE, TRANSFER_RUNNING, TRANSFER_DONE, TRANSFER_CANCELED, TRANSFER_FAILED);
}
