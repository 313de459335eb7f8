#include "emulator/shapes.h"

namespace emulator {
namespace {

using nlohmann::json;

const char* ActionText(Action action) {
  switch (action) {
    case Action::kUpload:
      return "upload";
    case Action::kHide:
      return "hide";
    case Action::kStart:
      return "start";
  }
  return "";
}

json Readable(json value) {
  return {{"isClientAuthorizedToRead", true}, {"value", std::move(value)}};
}

const json& NoEncryption() {
  static const json none{{"mode", nullptr}, {"algorithm", nullptr}};
  return none;
}

// Objects of API versions from 2 on show more of a file. Its MD5 is never known.
void AddVersion2Fields(json& file, const Version& version) {
  static const json no_retention = Readable({{"mode", nullptr}, {"retainUntilTimestamp", nullptr}});
  static const json no_hold = Readable(nullptr);
  file["contentMd5"] = nullptr;
  if (version.action == Action::kHide) return;
  file["fileRetention"] = no_retention;
  file["legalHold"] = no_hold;
  file["serverSideEncryption"] = NoEncryption();
}

json CommonJson(const Version& version) {
  return {{"action", ActionText(version.action)},
          {"contentLength", version.content->size()},
          {"contentSha1", version.content->sha1},
          {"contentType", version.content_type},
          {"fileId", version.Id()},
          {"fileInfo", version.info.empty() ? json::object() : json(version.info)},
          {"fileName", version.name},
          {"uploadTimestamp", version.timestamp}};
}

json FolderJson(const ListEntry& entry, const Dialect& dialect) {
  json folder{{"action", "folder"},       {"contentLength", 0},  {"contentSha1", nullptr},
              {"contentType", nullptr},   {"fileId", nullptr},   {"fileInfo", json::object()},
              {"fileName", entry.folder}, {"uploadTimestamp", 0}};
  if (dialect.version < 2) {
    folder["size"] = 0;
  } else {
    folder["accountId"] = dialect.account_id;
    folder["bucketId"] = *entry.version->bucket_id;
    folder["contentMd5"] = nullptr;
  }
  return folder;
}

}  // namespace

json BucketJson(const Bucket& bucket, const Dialect& dialect) {
  json shown{{"accountId", dialect.account_id},
             {"bucketId", bucket.id},
             {"bucketName", bucket.name},
             {"bucketType", bucket.type},
             {"bucketInfo", bucket.info.empty() ? json::object() : json(bucket.info)},
             {"corsRules", json::parse(bucket.cors_rules)},
             {"lifecycleRules", json::parse(bucket.lifecycle_rules)},
             {"revision", bucket.revision}};
  if (dialect.version < 2) return shown;
  shown["options"] = json::array({"s3"});
  shown["defaultServerSideEncryption"] = Readable(NoEncryption());
  shown["fileLockConfiguration"] =
      Readable({{"isFileLockEnabled", false},
                {"defaultRetention", {{"mode", nullptr}, {"period", nullptr}}}});
  shown["replicationConfiguration"] = Readable(nullptr);
  return shown;
}

json FileJson(const Version& version, const Dialect& dialect) {
  json file = CommonJson(version);
  file["accountId"] = dialect.account_id;
  file["bucketId"] = *version.bucket_id;
  if (dialect.version >= 2) AddVersion2Fields(file, version);
  return file;
}

json ListedJson(const Version& version, const Dialect& dialect) {
  if (dialect.version >= 2) return FileJson(version, dialect);
  json file = CommonJson(version);
  file["size"] = version.content->size();
  return file;
}

json EntryJson(const ListEntry& entry, const Dialect& dialect) {
  return entry.folder.empty() ? ListedJson(*entry.version, dialect) : FolderJson(entry, dialect);
}

json PartJson(const Part& part, const std::string& file_id, const Dialect& dialect) {
  json shown{{"fileId", file_id},
             {"partNumber", part.number},
             {"contentLength", part.content->size()},
             {"contentSha1", part.content->sha1},
             {"uploadTimestamp", part.timestamp}};
  if (dialect.version < 2) return shown;
  shown["contentMd5"] = nullptr;
  shown["serverSideEncryption"] = NoEncryption();
  return shown;
}

}  // namespace emulator
