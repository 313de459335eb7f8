#include <algorithm>

#include "emulator/calls.h"
#include "emulator/errors.h"
#include "emulator/file_id.h"

namespace emulator {
namespace {

using nlohmann::json;

constexpr int64_t kDefaultCount = 100;
constexpr int64_t kMaxPartCount = 1000;
constexpr int64_t kMaxUnfinishedCount = 100;

size_t CountArg(const Args& args, const char* name, int64_t cap) {
  const int64_t count = args.Number(name, kDefaultCount);
  if (count < 0 || count > cap) {
    throw ServiceError(400, "out_of_range",
                       std::string(name) + " out of range: " + std::to_string(count));
  }
  return static_cast<size_t>(count == 0 ? kDefaultCount : count);
}

std::string DelimiterArg(const Args& args, const std::string& prefix) {
  const auto delimiter = args.OptionalText("delimiter");
  if (!delimiter) return "";
  if (delimiter->size() != 1) throw BadRequest("Delimiter must be within acceptable list");
  if (prefix.starts_with(*delimiter)) throw BadRequest("Prefix must not start with delimiter");
  return *delimiter;
}

// What a key that is limited to a name prefix may see: version 1 cuts a wider listing down,
// later versions refuse it.
std::string ConfinedTo(const CallContext& call, const std::string& prefix) {
  std::string own = call.key->name_prefix.value_or("");
  if (!prefix.starts_with(own) && call.version >= 2) {
    throw ServiceError(401, "unauthorized", "Not authorized");
  }
  return own;
}

ListQuery QueryArgs(const CallContext& call) {
  ListQuery query;
  query.prefix = call.args.Text("prefix", "");
  query.start_name = call.args.Text("startFileName", "");
  query.delimiter = DelimiterArg(call.args, query.prefix);
  query.max_count = CountArg(call.args, "maxFileCount", call.page_cap);
  query.confined_to = ConfinedTo(call, query.prefix);
  return query;
}

json PageJson(const ListPage& page, const Dialect& dialect) {
  json files = json::array();
  for (const ListEntry& entry : page.entries) files.push_back(EntryJson(entry, dialect));
  return {{"files", std::move(files)},
          {"nextFileName", page.next ? json(page.next->Name()) : json()}};
}

}  // namespace

json ListFileNames(const CallContext& call) {
  const Bucket bucket = call.BucketArg();
  return PageJson(call.store.ListNames(bucket.id, QueryArgs(call)), call.dialect());
}

json ListFileVersions(const CallContext& call) {
  const Bucket bucket = call.BucketArg();
  ListQuery query = QueryArgs(call);
  if (const auto start_id = call.args.OptionalText("startFileId")) {
    if (!call.args.Has("startFileName")) throw BadRequest("startFileId needs startFileName");
    query.start_sequence = SequenceOf(*start_id);
    if (!query.start_sequence) {
      throw ServiceError(400, "invalid_file_id", "Invalid fileId: " + *start_id);
    }
  }
  const ListPage page = call.store.ListVersions(bucket.id, query);
  json answer = PageJson(page, call.dialect());
  answer["nextFileId"] = page.next ? json(page.next->version->Id()) : json();
  return answer;
}

json ListUnfinishedLargeFiles(const CallContext& call) {
  const Bucket bucket = call.BucketArg();
  const std::string prefix = call.args.Text("namePrefix", "");
  const std::string confined_to = ConfinedTo(call, prefix);
  const size_t count = CountArg(call.args, "maxFileCount", kMaxUnfinishedCount);
  const auto start_id = call.args.OptionalText("startFileId");
  const auto start = start_id ? SequenceOf(*start_id) : 0;
  if (!start) throw ServiceError(400, "invalid_file_id", "Invalid fileId: " + *start_id);

  json answer{{"files", json::array()}, {"nextFileId", nullptr}};
  if (call.version >= 2) answer["nextFileName"] = nullptr;
  for (const VersionPtr& file : call.store.Unfinished(bucket.id)) {
    if (file->sequence < *start || !file->name.starts_with(prefix) ||
        !file->name.starts_with(confined_to)) {
      continue;
    }
    if (answer["files"].size() == count) {
      answer["nextFileId"] = file->Id();
      break;
    }
    answer["files"].push_back(FileJson(*file, call.dialect()));
  }
  return answer;
}

json ListParts(const CallContext& call) {
  const std::string file_id = call.args.Text("fileId");
  call.CheckReach(*call.store.ActiveLarge(file_id));
  const int64_t start = call.args.Number("startPartNumber", 1);
  if (start < 1 || start > 10'000) throw BadRequest("startPartNumber out of range");
  const size_t count = CountArg(call.args, "maxPartCount", kMaxPartCount);
  json answer{{"parts", json::array()}, {"nextPartNumber", nullptr}};
  for (const Part& part : call.store.Parts(file_id)) {
    if (part.number < start) continue;
    if (answer["parts"].size() == count) {
      answer["nextPartNumber"] = part.number;
      break;
    }
    answer["parts"].push_back(PartJson(part, file_id, call.dialect()));
  }
  return answer;
}

}  // namespace emulator
