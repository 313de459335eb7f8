#include "emulator/kept_records.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "base/numbers.h"
#include "emulator/content_places.h"
#include "emulator/state_json.h"

namespace emulator {
namespace {

using nlohmann::json;

// The kinds of records.
constexpr std::string_view kAccount = "account", kBucket = "bucket", kVersion = "version",
                           kPart = "part", kKey = "key", kSequence = "sequence", kNote = "note";
constexpr int kFormat = 1;

// Of the same length for all, so that their order is that of the numbers.
std::string TextOf(uint64_t sequence) {
  std::array<char, 20> text{};
  std::snprintf(text.data(), text.size(), "%016llx", static_cast<unsigned long long>(sequence));
  return text.data();
}

std::optional<Account> ReadAccount(RecordTable& table) {
  std::optional<Account> account;
  table.ForEach(kAccount, [&](const std::string&, int64_t, std::string_view text) {
    const json record = json::parse(text);
    if (record.at("format") != kFormat) throw std::runtime_error("another version has written it");
    account = {record.at("accountId"), record.at("applicationKey")};
  });
  return account;
}

// Reads what a store holds, from buckets to parts.
class StateReader {
 public:
  StateReader(RecordTable& table, ContentFile& file) : table_(table), contents_(file) {}

  State Read() {
    Each(kBucket, [this](const std::string& id, const json& record) {
      state_.buckets.push_back(BucketFrom(record));
      bucket_ids_[id] = std::make_shared<const std::string>(id);
    });
    Each(kVersion, [this](const std::string&, const json& record) { AddVersion(record); });
    Each(kPart, [this](const std::string& id, const json& record) {
      Part part = PartFrom(record);
      part.content = contents_.At(record.at("content"));
      state_.parts.emplace_back(base::ParseNumber<uint64_t>(id, 16).value_or(0), std::move(part));
    });
    Each(kSequence, [this](const std::string&, const json& next) {
      state_.next_sequence = std::max<uint64_t>(state_.next_sequence, next);
    });
    return std::move(state_);
  }

 private:
  template <typename Take>
  void Each(std::string_view kind, const Take& take) {
    table_.ForEach(kind, [&](const std::string& id, int64_t, std::string_view text) {
      take(id, json::parse(text));
    });
  }

  void AddVersion(const json& record) {
    auto version = std::make_shared<Version>(VersionFrom(record));
    version->bucket_id = bucket_ids_.at(record.at("bucketId"));
    version->content = contents_.At(record.at("content"));
    state_.next_sequence = std::max(state_.next_sequence, version->sequence + 1);
    state_.versions.push_back(std::move(version));
  }

  RecordTable& table_;
  ContentLoader contents_;
  State state_;
  std::map<std::string, std::shared_ptr<const std::string>> bucket_ids_;
};

}  // namespace

void PutRecord(RecordTable& table, const Account& account) {
  const json record{
      {"format", kFormat}, {"accountId", account.id}, {"applicationKey", account.key}};
  table.Put(kAccount, "", 0, record.dump());
}

void PutRecord(RecordTable& table, const Bucket& bucket) {
  table.Put(kBucket, bucket.id, 0, BucketRecord(bucket).dump());
}

void PutRecord(RecordTable& table, const Version& version, const ContentFile& file) {
  const std::string id = TextOf(version.sequence);
  json record = VersionRecord(version);
  record["content"] = PlaceOf(*version.content, file);
  if (version.large && version.action != Action::kStart) table.Erase(kPart, id);
  table.Put(kVersion, id, 0, record.dump());
}

void PutRecord(RecordTable& table, uint64_t sequence, const Part& part, const ContentFile& file) {
  json record = PartRecord(part);
  record["content"] = PlaceOf(*part.content, file);
  table.Put(kPart, TextOf(sequence), part.number, record.dump());
}

void PutRecord(RecordTable& table, const Key& key) {
  table.Put(kKey, key.id, 0, KeyRecord(key).dump());
}

void EraseBucketRecord(RecordTable& table, const std::string& id) { table.Erase(kBucket, id); }

void EraseVersionRecord(RecordTable& table, uint64_t sequence) {
  table.Erase(kVersion, TextOf(sequence));
  table.Erase(kPart, TextOf(sequence));
}

void EraseKeyRecord(RecordTable& table, const std::string& id) { table.Erase(kKey, id); }

void PutNextSequence(RecordTable& table, uint64_t next_sequence) {
  table.Put(kSequence, "", 0, std::to_string(next_sequence));
}

void ReplaceRecords(RecordTable& table, const State& state, const ContentFile& file) {
  for (const std::string_view kind : {kBucket, kVersion, kPart}) table.EraseAll(kind);
  for (const Bucket& bucket : state.buckets) PutRecord(table, bucket);
  for (const VersionPtr& version : state.versions) PutRecord(table, *version, file);
  for (const auto& [sequence, part] : state.parts) PutRecord(table, sequence, part, file);
  PutNextSequence(table, state.next_sequence);
}

void ReplaceRecords(RecordTable& table, const std::vector<KeyPtr>& keys) {
  table.EraseAll(kKey);
  for (const KeyPtr& key : keys) PutRecord(table, *key);
}

void Note(RecordTable& table, const std::string& what) { table.Put(kNote, what, 0, ""); }

bool IsNoted(RecordTable& table, const std::string& what) {
  bool noted = false;
  table.ForEach(kNote, [&](const std::string& id, int64_t, std::string_view) {
    noted = noted || id == what;
  });
  return noted;
}

Kept ReadKept(RecordTable& table, ContentFile& file) {
  Kept kept;
  kept.account = ReadAccount(table);
  kept.state = StateReader(table, file).Read();
  table.ForEach(kKey, [&](const std::string&, int64_t, std::string_view text) {
    kept.keys.push_back(std::make_shared<const Key>(KeyFrom(json::parse(text))));
  });
  return kept;
}

}  // namespace emulator
