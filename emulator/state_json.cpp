#include "emulator/state_json.h"

#include <stdexcept>

namespace emulator {
namespace {

using nlohmann::json;

constexpr std::pair<Action, const char*> kActions[] = {
    {Action::kUpload, "upload"}, {Action::kHide, "hide"}, {Action::kStart, "start"}};

const char* TextOf(Action action) {
  for (const auto& [candidate, text] : kActions) {
    if (candidate == action) return text;
  }
  return "";
}

Action ActionFrom(const json& text) {
  for (const auto& [action, candidate] : kActions) {
    if (text == candidate) return action;
  }
  throw std::invalid_argument("no such action: " + text.dump());
}

template <typename Value>
void PutIfSet(json& record, const char* name, const std::optional<Value>& value) {
  if (value) record[name] = *value;
}

template <typename Value>
void GetIfSet(const json& record, const char* name, std::optional<Value>& value) {
  if (record.contains(name)) value = record[name].get<Value>();
}

}  // namespace

json BucketRecord(const Bucket& bucket) {
  return {{"bucketId", bucket.id},
          {"bucketName", bucket.name},
          {"bucketType", bucket.type},
          {"bucketInfo", json(bucket.info)},
          {"corsRules", json::parse(bucket.cors_rules)},
          {"lifecycleRules", json::parse(bucket.lifecycle_rules)},
          {"revision", bucket.revision}};
}

Bucket BucketFrom(const json& record) {
  return {.id = record.at("bucketId"),
          .name = record.at("bucketName"),
          .type = record.at("bucketType"),
          .info = record.at("bucketInfo").get<FileInfo>(),
          .cors_rules = record.at("corsRules").dump(),
          .lifecycle_rules = record.at("lifecycleRules").dump(),
          .revision = record.at("revision")};
}

json VersionRecord(const Version& version) {
  return {{"bucketId", *version.bucket_id},   {"sequence", version.sequence},
          {"fileName", version.name},         {"contentType", version.content_type},
          {"fileInfo", json(version.info)},   {"uploadTimestamp", version.timestamp},
          {"action", TextOf(version.action)}, {"large", version.large}};
}

Version VersionFrom(const json& record) {
  return {.name = record.at("fileName"),
          .content_type = record.at("contentType"),
          .info = record.at("fileInfo").get<FileInfo>(),
          .bucket_id = nullptr,
          .content = nullptr,
          .timestamp = record.at("uploadTimestamp"),
          .sequence = record.at("sequence"),
          .action = ActionFrom(record.at("action")),
          .large = record.at("large")};
}

json PartRecord(const Part& part) {
  return {{"partNumber", part.number}, {"uploadTimestamp", part.timestamp}};
}

Part PartFrom(const json& record) {
  return {record.at("partNumber"), nullptr, record.at("uploadTimestamp")};
}

json KeyRecord(const Key& key) {
  json record{{"applicationKeyId", key.id},
              {"applicationKey", key.secret},
              {"keyName", key.name},
              {"capabilities", key.capabilities}};
  PutIfSet(record, "bucketId", key.bucket_id);
  PutIfSet(record, "namePrefix", key.name_prefix);
  PutIfSet(record, "expirationTimestamp", key.expires);
  return record;
}

Key KeyFrom(const json& record) {
  Key key{.id = record.at("applicationKeyId"),
          .secret = record.at("applicationKey"),
          .name = record.at("keyName"),
          .capabilities = record.at("capabilities").get<std::set<std::string>>()};
  GetIfSet(record, "bucketId", key.bucket_id);
  GetIfSet(record, "namePrefix", key.name_prefix);
  GetIfSet(record, "expirationTimestamp", key.expires);
  return key;
}

}  // namespace emulator
