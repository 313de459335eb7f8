#include "conform/drive.h"

#include <stdexcept>

namespace conform {

_FS_FILE_V2 RecordOf(Text name, std::uint64_t size, Text id) {
  _FS_FILE_V2 record;
  record.name = name;
  record.size = size;
  record.id = id;
  return record;
}

std::string AccountForm(Text key) {
  const Json values = {{"account_id", {{"value", Service::kAccount}}},
                       {"application_key", {{"value", key}}}};
  return Json{{"values", values}}.dump();
}

std::string ProxyForm(int port, Text user, Text password) {
  const Json proxy = {{"type", "HTTP with TUNNEL"},
                      {"host", "127.0.0.1"},
                      {"port", port},
                      {"user", user},
                      {"password", password}};
  return Json{{"values", {{"proxy", {{"value", proxy}}}}}}.dump();
}

std::string Bytes(std::size_t size, int seed) {
  std::string bytes;
  for (int i = seed; bytes.size() < size; ++i) bytes += std::to_string(i) + ' ';
  bytes.resize(size);
  return bytes;
}

Drive::Drive(const Arguments& emulator_options)
    : service(emulator_options), object(module.NewObject()) {
  module.BindLogger(&log);
  SetOpt("option_fields", ProxyForm(service.port()));
  const AERROR code = Connect();
  if (code != SUCCESS) throw std::runtime_error(std::string("Connect gives ") + Show(code));
}

Drive::~Drive() {
  object.reset();
  module.UnbindLogger();
}

Object Drive::Another() const {
  Object other = module.NewObject();
  const AERROR code = other->Connect(nullptr, AccountForm().c_str());
  Equal("a second object's Connect", code, SUCCESS);
  return other;
}

AERROR Drive::GetList(Text id, List& list) const {
  return object->GetFileList(id.c_str(), &list, nullptr);
}

Texts Drive::Names(Text id) const {
  List list;
  Equal("GetFileList " + id, GetList(id, list), SUCCESS);
  return list.Names();
}

_FS_FILE_V2 Drive::Only(Text id) const {
  List list;
  GetList(id, list);
  if (list.records.size() != 1) {
    throw std::runtime_error("GetFileList gives " + Show(list.Names()) + " where one entry is");
  }
  return list.records.front();
}

AERROR Drive::Read(Text id, long long offset, long long length, Fetched& fetched,
                   const Handle& handle) const {
  return object->Read(id.c_str(), offset, length, handle, &fetched, nullptr);
}

std::string Drive::ReadAll(Text id, std::size_t length) const {
  Fetched fetched;
  Equal("Read", Read(id, 0, static_cast<long long>(length), fetched), SUCCESS);
  return fetched.bytes;
}

AERROR Drive::Upload(Text parent, Cache& cache, _FS_FILE_V2& file, const Handle& handle) const {
  return object->Upload(parent.c_str(), handle, &cache, &file, UPLOAD_DEFAULT, nullptr);
}

AERROR Drive::Upload(Text name, Text contents) const {
  Cache cache(contents);
  _FS_FILE_V2 file = RecordOf(name, contents.size());
  return Upload(service.bucket(), cache, file);
}

AERROR Drive::Delete(Text id) const {
  _FS_FILE_V2 file = RecordOf("", 0, id);
  return object->Delete(&file, nullptr);
}

AERROR Drive::DeleteDirectory(Text id) const {
  _FS_FILE_V2 folder = RecordOf("", 0, id);
  return object->DeleteDirectory(&folder, nullptr);
}

AERROR Drive::CreateDirectory(Text parent, Text name, _FS_FILE_V2* out) const {
  _FS_FILE_V2 own;
  if (out == nullptr) out = &own;
  *out = RecordOf(name);
  return object->CreateDirectory(parent.c_str(), out, nullptr);
}

AERROR Drive::Info(Text id, FS_FILE_TYPE type, _FS_FILE_V2& out) const {
  out.type = type;
  return object->GetFileInfo(id.c_str(), &out, nullptr);
}

}  // namespace conform
