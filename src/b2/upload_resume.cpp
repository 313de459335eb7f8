#include <algorithm>
#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_records.h"
#include "b2/page_watch.h"
#include "protocol/log_lines.h"

namespace {

// Whether a large file was started with exactly the same members.
bool IsLike(JsonObject& file, JsonObject& wanted) {
  for (const std::string& name : wanted.GetKeys()) {
    if (!file.HasObject(name.c_str())) return false;
    if (file[name.c_str()].ToText() != wanted[name.c_str()].ToText()) return false;
  }
  return true;
}

}  // namespace

AERROR BackBlazeB2::ListUnfinished(const Stop& stop, const Options& options, JsonObject wanted,
                                   std::vector<std::string>& file_ids) {
  const ItemPath name{wanted["bucketId"], wanted["fileName"]};
  const AERROR result = ForEachUnfinished(stop, options, name, [&](JsonObject& file) {
    if (IsLike(file, wanted)) file_ids.push_back(Required(file, "fileId"));
  });
  std::ranges::reverse(file_ids);  // the service's oldest come first
  return result;
}

AERROR BackBlazeB2::ListParts(const Stop& stop, const Options& options, const std::string& file_id,
                              StoredParts& parts) {
  std::string next = "1";
  PageWatch watch(true, query::kListParts);
  const auto body = [&] {
    JsonObject request = Members({{"fileId", file_id}});
    request.Insert("startPartNumber", JsonObject(next.c_str()));
    request.Insert("maxPartCount", JsonObject("1000"));
    return request;
  };
  const auto read = [&](JsonObject& answer) {
    JsonObject listed = Required(answer, "parts");
    const int count = listed.GetArraySize();
    for (int i = 0; i < count; ++i) {
      JsonObject part = listed[i];
      const int number = static_cast<int>(Required(part, "partNumber"));
      parts[number] = {static_cast<long long>(ContentLength(part)),
                       BareSha1(Required(part, "contentSha1"))};
    }
    const JsonObject following = answer["nextPartNumber"];
    next = following.IsValid() ? following.ToText() : "";
    return watch.Next(next, count);
  };
  return QueryUnless(stop, options, JsonCall(query::kListParts, call::kListParts, body),
                     OnSuccess(read), OnUnfinishedNoMore());
}
