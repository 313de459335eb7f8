#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "emulator/access_key.h"
#include "emulator/content_file.h"
#include "emulator/record_table.h"
#include "emulator/state.h"

namespace emulator {

struct Account {
  std::string id;
  std::string key;  // the master key's secret
};

// All that a data folder keeps.
struct Kept {
  std::optional<Account> account;  // none: the folder is new
  State state;
  std::vector<KeyPtr> keys;
};

// How it stands in the records. Contents must be in `file`.
void PutRecord(RecordTable& table, const Account& account);
void PutRecord(RecordTable& table, const Bucket& bucket);
// The parts of one that is not unfinished go.
void PutRecord(RecordTable& table, const Version& version, const ContentFile& file);
void PutRecord(RecordTable& table, uint64_t sequence, const Part& part, const ContentFile& file);
void PutRecord(RecordTable& table, const Key& key);
void EraseBucketRecord(RecordTable& table, const std::string& id);
// With its parts.
void EraseVersionRecord(RecordTable& table, uint64_t sequence);
void EraseKeyRecord(RecordTable& table, const std::string& id);
void PutNextSequence(RecordTable& table, uint64_t next_sequence);
// In place of all buckets, versions and parts, or of all keys.
void ReplaceRecords(RecordTable& table, const State& state, const ContentFile& file);
void ReplaceRecords(RecordTable& table, const std::vector<KeyPtr>& keys);

// Names of what was done once.
void Note(RecordTable& table, const std::string& what);
bool IsNoted(RecordTable& table, const std::string& what);

// Claims the contents of `file`. Throws std::exception for records that this program did not write.
Kept ReadKept(RecordTable& table, ContentFile& file);

}  // namespace emulator
