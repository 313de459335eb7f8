#include "emulator/state_document.h"

#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "emulator/base64.h"
#include "emulator/names.h"
#include "emulator/state_json.h"

namespace emulator {
namespace {

using nlohmann::json;

constexpr int kFormat = 1;
constexpr uint64_t kMostBytes = uint64_t{256} << 20;
// As many as file IDs have room for.
constexpr uint64_t kLastSequence = (uint64_t{1} << 60) - 2;
constexpr int64_t kLastTimestamp = 253'402'300'799'999;  // of the year 9999, ms

void Require(bool fits, const std::string& rule) {
  if (!fits) throw std::invalid_argument(rule);
}

// The contents of a document; files have their numbers.
class ContentList {
 public:
  size_t NumberOf(const ContentPtr& content) {
    const auto [place, is_new] = numbers_.emplace(content, numbers_.size());
    if (is_new) Add(*content);
    return place->second;
  }
  json Take() { return std::move(list_); }

 private:
  void Add(const Content& content) {
    bytes_ += content.size();
    Require(bytes_ <= kMostBytes,
            "the files have more than 256 MiB: keep them with --data and copy the folder");
    list_.push_back({{"sha1", content.sha1}, {"base64", EncodeBase64(content.Text())}});
  }

  std::map<ContentPtr, size_t> numbers_;
  json list_ = json::array();
  uint64_t bytes_ = 0;
};

std::shared_ptr<const Content> ContentFrom(const json& record) {
  const auto bytes = DecodeBase64(record.at("base64").get_ref<const std::string&>());
  Require(bytes.has_value(), "a content is not Base64");
  auto content = std::make_shared<Content>(*Content::FromText(*bytes));
  content->sha1 = record.at("sha1");
  return content;
}

class Reader {
 public:
  Reader(const json& document, Store& store) : document_(document) {
    Require(document.at("format") == kFormat, "the format must be 1");
    for (const json& record : document.at("contents")) {
      contents_.push_back(store.Adopt(ContentFrom(record)));
    }
  }

  Snapshot Read() {
    state_.next_sequence = document_.at("nextSequence");
    Require(state_.next_sequence <= kLastSequence + 1, "nextSequence is too large");
    for (const json& record : document_.at("buckets")) AddBucket(BucketFrom(record));
    for (const json& record : document_.at("files")) AddVersion(record);
    for (const json& record : document_.at("parts")) AddPart(record);
    std::vector<KeyPtr> keys;
    for (const json& record : document_.at("keys")) {
      keys.push_back(std::make_shared<const Key>(KeyFrom(record)));
    }
    return {std::move(state_), std::move(keys)};
  }

 private:
  void AddBucket(Bucket bucket) {
    CheckBucketName(bucket.name);
    Require(bucket.id.size() == 24 &&
                bucket.id.find_first_not_of("0123456789abcdef") == std::string::npos,
            "a bucketId is not 24 hex digits");
    Require(names_.insert(ToLower(bucket.name)).second, "two buckets are named " + bucket.name);
    Require(ids_.emplace(bucket.id, std::make_shared<const std::string>(bucket.id)).second,
            "two buckets have the bucketId " + bucket.id);
    state_.buckets.push_back(std::move(bucket));
  }

  void AddVersion(const json& record) {
    auto version = std::make_shared<Version>(VersionFrom(record));
    CheckFileName(version->name);
    const auto bucket = ids_.find(record.at("bucketId"));
    Require(bucket != ids_.end(), "a file's bucketId is none of the buckets");
    version->bucket_id = bucket->second;
    version->content = contents_.at(record.at("content"));
    Require(version->sequence < state_.next_sequence, "a sequence is not below nextSequence");
    Require(version->timestamp >= 0 && version->timestamp <= kLastTimestamp,
            "an uploadTimestamp is out of range");
    Require(sequences_.emplace(version->sequence, version->action).second,
            "two files have the same sequence");
    state_.versions.push_back(std::move(version));
  }

  void AddPart(const json& record) {
    Part part = PartFrom(record);
    const uint64_t sequence = record.at("sequence");
    const auto file = sequences_.find(sequence);
    Require(file != sequences_.end() && file->second == Action::kStart,
            "a part's sequence is none of an unfinished file");
    part.content = contents_.at(record.at("content"));
    state_.parts.emplace_back(sequence, std::move(part));
  }

  const json& document_;
  std::vector<ContentPtr> contents_;
  State state_;
  std::set<std::string> names_;
  std::map<std::string, std::shared_ptr<const std::string>> ids_;
  std::map<uint64_t, Action> sequences_;
};

}  // namespace

json StateDocument(const State& state, const std::vector<KeyPtr>& keys) {
  ContentList contents;
  json document{{"format", kFormat},        {"nextSequence", state.next_sequence},
                {"buckets", json::array()}, {"files", json::array()},
                {"parts", json::array()},   {"keys", json::array()}};
  for (const Bucket& bucket : state.buckets) document["buckets"].push_back(BucketRecord(bucket));
  for (const VersionPtr& version : state.versions) {
    json record = VersionRecord(*version);
    record["content"] = contents.NumberOf(version->content);
    document["files"].push_back(std::move(record));
  }
  for (const auto& [sequence, part] : state.parts) {
    json record = PartRecord(part);
    record["sequence"] = sequence;
    record["content"] = contents.NumberOf(part.content);
    document["parts"].push_back(std::move(record));
  }
  for (const KeyPtr& key : keys) document["keys"].push_back(KeyRecord(*key));
  document["contents"] = contents.Take();
  return document;
}

Snapshot SnapshotFrom(const json& document, Store& store) {
  try {
    return Reader(document, store).Read();
  } catch (const std::out_of_range&) {
    throw std::invalid_argument("a content's number is none of the contents");
  }
}

}  // namespace emulator
