#include "conform/probe/object.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "conform/probe/obey.h"
#include "conform/probe/the_store.h"
#include "protocol/log_lines.h"

namespace probe {

ILog* host_log = nullptr;

Store& TheStore() {
  static Store store;
  return store;
}

std::string NameOf(const std::string& id) {
  const std::size_t slash = id.find('/');
  return slash == id.npos ? "" : id.substr(slash + 1);
}

void Say(LOGLEVEL level, const char* format, ...) {
  if (host_log == nullptr) return;
  std::va_list arguments;
  va_start(arguments, format);
  host_log->Log(level, format, arguments);
  va_end(arguments);
}

void SayAnswer(const char* query, const char* method, int status) {
  Say(LOGLEVEL_INFO, log_lines::kAnswer, query, "HTTPS", method, status, "https://probe", 0, 0);
}

AERROR Probe::GetUserInfo(char* buffer, int* size) {
  return Obey("GetUserInfo", [&](const Orders&) {
    constexpr char kName[] = "Probe";
    const bool fits = *size >= static_cast<int>(sizeof kName);
    *size = fits ? sizeof kName - 1 : sizeof kName;
    if (fits) std::memcpy(buffer, kName, sizeof kName);
    return fits ? SUCCESS : INSUFFICIENT_BUFFER;
  });
}

AERROR Probe::GetQuota(unsigned long long* total, unsigned long long* used) {
  if (total != nullptr) *total = 10ULL << 40;
  if (used != nullptr) *used = 0;
  return SUCCESS;
}

AERROR Probe::GetType(char** type) {
  static char name[] = "backblazeb2";
  *type = name;
  return SUCCESS;
}

AERROR Probe::GetFileInfo(const char* id, _FS_FILE_V2* out, char**) {
  return Obey("GetFileInfo", [&](const Orders& orders) {
    const auto file = TheStore().Find(id);
    SayAnswer(query::kFileInfo, "POST", file ? 200 : 404);
    if (!file) return FAILED;
    out->size = orders.Has("odd-sizes") ? UINT64_MAX : file->bytes->size();
    return SUCCESS;
  });
}

AERROR Probe::CreateDirectory(const char* id, _FS_FILE_V2* out, char**) {
  return Obey("CreateDirectory", [&](const Orders&) {
    const std::string folder = NameOf(id), name = (folder.empty() ? "" : folder + "/") + out->name;
    TheStore().Put(name + "/.bzEmpty", "");
    SayAnswer(query::kUploadSingle, "POST", 200);
    out->id = std::string(Store::kBucketId) + "/" + name;
    out->type = FS_DIRECTORY;
    return SUCCESS;
  });
}

// Misdeed: undone (SUCCESS, and nothing is deleted).
AERROR Probe::Delete(_FS_FILE_V2* file, char**) {
  return Obey("Delete", [&](const Orders& orders) {
    if (!orders.Has("undone")) TheStore().Delete(file->id);
    SayAnswer(query::kDeleteVersion, "POST", 200);
    return SUCCESS;
  });
}

AERROR Probe::DeleteDirectory(_FS_FILE_V2* dir, char**) {
  return Obey("DeleteDirectory", [&](const Orders& orders) {
    if (!orders.Has("undone")) TheStore().DeleteBelow(NameOf(dir->id) + "/");
    SayAnswer(query::kDeleteVersion, "POST", 200);
    return SUCCESS;
  });
}

AERROR Probe::SetOpt(const char*, const char*) {
  return Obey("SetOpt", [](const Orders&) { return SUCCESS; });
}

void Probe::FreeMsg(char* message) { std::free(message); }

AERROR Probe::Connect(IProtocolAuth*, const char*) {
  return Obey("Connect", [](const Orders& orders) {
    const int status = static_cast<int>(orders.Number("answer", 200));
    SayAnswer(query::kAuthorize, "GET", status);
    return status == 200 ? SUCCESS : ACCESS_VIOLATION;
  });
}

AERROR Probe::GetRootID(char* buffer, int* size) {
  *size = 0;
  if (buffer != nullptr) *buffer = '\0';
  return SUCCESS;
}

}  // namespace probe
