#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "emulator/args.h"
#include "emulator/errors.h"
#include "emulator/ranges.h"
#include "emulator/transfers.h"

namespace emulator {
namespace {

// A response header that a query parameter or a file info can set.
struct Override {
  const char* parameter;
  const char* info;
  const char* header;
};

constexpr std::array<Override, 6> kOverrides{{
    {"b2CacheControl", "b2-cache-control", "Cache-Control"},
    {"b2ContentDisposition", "b2-content-disposition", "Content-Disposition"},
    {"b2ContentEncoding", "b2-content-encoding", "Content-Encoding"},
    {"b2ContentLanguage", "b2-content-language", "Content-Language"},
    {"b2ContentType", "b2-content-type", "Content-Type"},
    {"b2Expires", "b2-expires", "Expires"},
}};

bool HasOverride(const Pairs& query) {
  return std::any_of(kOverrides.begin(), kOverrides.end(),
                     [&](const Override& row) { return !ValueOf(query, row.parameter).empty(); });
}

std::string DefaultFor(const Override& row, const Bucket& bucket, const Version& version) {
  const std::string_view header = row.header;
  if (header == "Content-Type") return version.content_type;
  const auto found = bucket.info.find("Cache-Control");
  return header == "Cache-Control" && found != bucket.info.end() ? found->second : "";
}

Pairs FileHeaders(const Bucket& bucket, const Version& version, const Pairs& query) {
  Pairs headers{{"Accept-Ranges", "bytes"},
                {"X-Bz-File-Id", version.Id()},
                {"X-Bz-File-Name", PercentEncode(version.name)},
                {"X-Bz-Content-Sha1", version.content->sha1},
                {"X-Bz-Upload-Timestamp", std::to_string(version.timestamp)}};
  for (const auto& [key, value] : version.info) {
    if (!key.starts_with("b2-")) headers.emplace_back("X-Bz-Info-" + key, PercentEncode(value));
  }
  for (const Override& row : kOverrides) {
    std::string value = ValueOf(query, row.parameter);
    const auto info = version.info.find(row.info);
    if (value.empty() && info != version.info.end()) value = info->second;
    if (value.empty()) value = DefaultFor(row, bucket, version);
    if (!value.empty()) headers.emplace_back(row.header, value);
  }
  return headers;
}

Answer Serve(const Bucket& bucket, const Version& version, const Incoming& incoming,
             const Pairs& query) {
  const uint64_t size = version.content->size();
  const std::string range_header = incoming.ignore_range ? "" : incoming.record.Header("Range");
  const ByteRange whole{0, size};
  const ByteRange range =
      range_header.empty() ? whole : ParseRange(range_header, size).value_or(whole);
  Answer answer;
  answer.headers = FileHeaders(bucket, version, query);
  answer.content = version.content;
  answer.first = range.first;
  answer.length = range.length;
  if (range.length < size) {
    answer.status = 206;
    const uint64_t last = range.first + range.length - 1;
    answer.headers.emplace_back("Content-Range", "bytes " + std::to_string(range.first) + "-" +
                                                     std::to_string(last) + "/" +
                                                     std::to_string(size));
  }
  return answer;
}

void CheckAccount(const Access& access, const std::string& token, const std::string& bucket_id,
                  const std::string& name) {
  const KeyPtr key = access.CheckAccountToken(token);
  RequireCapability(*key, "readFiles");
  RequireBucket(*key, bucket_id);
  RequireName(*key, name);
}

void CheckGrant(const DownloadGrant& grant, const std::string& bucket_id, const std::string& name,
                const Pairs& query) {
  bool fits = grant.bucket_id == bucket_id && name.starts_with(grant.name_prefix);
  for (const auto& [parameter, value] : grant.overrides) {
    fits = fits && ValueOf(query, parameter) == value;
  }
  if (!fits) throw ServiceError(401, "unauthorized", "Not authorized");
}

bool NeedsToken(const Bucket& bucket, const Pairs& query, const std::string& token) {
  return bucket.type != "allPublic" || HasOverride(query) || !token.empty();
}

ServiceError NoSuchFile(const std::string& bucket, const std::string& name) {
  return NotFound("Bucket " + bucket + " does not have file: " + name);
}

}  // namespace

Answer DownloadById(Store& store, Access& access, const Incoming& incoming) {
  const Pairs query = ParseQuery(incoming.query);
  const std::string token = incoming.record.Header("Authorization");
  const std::string file_id = Args::Of(incoming).Text("fileId");
  const VersionPtr version = store.Find(file_id);
  const Bucket bucket = store.GetBucket(*version->bucket_id);
  if (NeedsToken(bucket, query, token)) CheckAccount(access, token, bucket.id, version->name);
  if (version->action != Action::kUpload) throw NotFound("File not present: " + file_id);
  return Serve(bucket, *version, incoming, query);
}

Answer DownloadByName(Store& store, Access& access, const Incoming& incoming) {
  const Pairs query = ParseQuery(incoming.query);
  const size_t slash = std::min(incoming.rest.find('/'), incoming.rest.size());
  const std::string bucket_name = PercentDecode(incoming.rest.substr(0, slash));
  const std::string name =
      PercentDecode(incoming.rest.substr(std::min(slash + 1, incoming.rest.size())));
  if (name.ends_with('/')) throw BadRequest("File names must not end with '/'");

  std::string token = incoming.record.Header("Authorization");
  if (token.empty()) token = ValueOf(query, "Authorization");
  const auto bucket = store.FindBucket(bucket_name);
  if (!bucket) {
    access.CheckAccountToken(token);
    throw NoSuchFile(bucket_name, name);
  }
  if (const auto grant = access.FindDownload(token)) {
    CheckGrant(*grant, bucket->id, name, query);
  } else if (NeedsToken(*bucket, query, token)) {
    CheckAccount(access, token, bucket->id, name);
  }
  const VersionPtr version = store.Visible(bucket->id, name);
  if (!version) throw NoSuchFile(bucket_name, name);
  return Serve(*bucket, *version, incoming, query);
}

}  // namespace emulator
