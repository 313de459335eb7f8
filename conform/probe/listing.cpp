#include <climits>

#include "conform/probe/obey.h"
#include "conform/probe/object.h"
#include "conform/probe/the_store.h"
#include "protocol/log_lines.h"

// GetFileList. Misdeeds: half (and FAILED), repeat (each record twice), again (all of it twice),
// thread, null-record, many (so many more files), odd-names, odd-ids, odd-types, odd-sizes,
// odd-times, deaf (goes on when the sink refuses).
namespace probe {
namespace {

using Records = std::vector<_FS_FILE_V2>;

_FS_FILE_V2 Odd(const std::string& name) {
  _FS_FILE_V2 record;
  record.id = std::string(Store::kBucketId) + "/odd";
  record.type = FS_FILE;
  record.size = 1;
  record.name = name;
  return record;
}

void AddOddNames(Records& records) {
  for (const char* name : {"", ".", "..", "a/b", "/etc", "../../up", "-rf", "line\nend", "\x1b[2J",
                           "\xff\xfe", "\xc3", " ", "nul\\", "C:"}) {
    records.push_back(Odd(name));
  }
  records.push_back(Odd(std::string("zero\0inside", 11)));
  records.push_back(Odd(std::string(100'000, 'n')));
}

void MakeOdd(const Orders& orders, Records& records) {
  if (orders.Has("odd-names")) AddOddNames(records);
  const auto count = static_cast<std::size_t>(orders.Number("many", 0));
  for (std::size_t i = 0; i < count; ++i) records.push_back(Odd("many" + std::to_string(i)));
  for (std::size_t i = 0; i < records.size(); ++i) {
    _FS_FILE_V2& record = records[i];
    if (orders.Has("odd-ids")) {
      record.id = i % 3 == 0 ? "" : i % 3 == 1 ? "../\n\x1b[2J" : std::string(100'000, 'i');
    }
    if (orders.Has("odd-types")) record.type = static_cast<FS_FILE_TYPE>(i % 3 == 0 ? 0 : i * 7);
    if (orders.Has("odd-sizes")) record.size = i % 2 == 0 ? UINT64_MAX : UINT64_MAX / 2;
    if (orders.Has("odd-times")) {
      record.first_time = record.second_time = i % 2 == 0 ? "yesterday" : "9999999-99-99T99:99:99";
      record.texts = {"", "=", "sha1", "sha1=zz", std::string(100'000, 't'), "info.="};
    }
  }
}

AERROR Hand(const Orders& orders, const Records& records, IFileList* sink) {
  const std::size_t end = orders.Has("half") ? records.size() / 2 : records.size();
  for (std::size_t i = 0; i < end; ++i) {
    for (int times = orders.Has("repeat") ? 2 : 1; times > 0; --times) {
      const AERROR code = CallHost(orders, [&] { return sink->AddFile(&records[i]); });
      if (code != SUCCESS && !orders.Has("deaf")) return FAILED;
    }
  }
  if (orders.Has("null-record")) sink->AddFile(nullptr);
  return orders.Has("half") ? FAILED : SUCCESS;
}

Records Children(const std::string& id) {
  if (id.empty()) {
    _FS_FILE_V2 bucket = Odd(Store::kBucket);
    bucket.id = Store::kBucketId;
    bucket.type = FS_DIRECTORY;
    bucket.size = 0;
    return {bucket};
  }
  const std::string name = NameOf(id);
  return TheStore().List(name.empty() ? "" : name + "/");
}

}  // namespace

AERROR Probe::GetFileList(const char* id, IFileList* sink, char**) {
  return Obey("GetFileList", [&](const Orders& orders) {
    Records records = Children(id);
    MakeOdd(orders, records);
    SayAnswer(*id == '\0' ? query::kListBuckets : query::kListObjects, "POST", 200);
    AERROR code = Hand(orders, records, sink);
    if (code == SUCCESS && orders.Has("again")) code = Hand(orders, records, sink);
    return code;
  });
}

}  // namespace probe
