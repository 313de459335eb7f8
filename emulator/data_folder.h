#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/thread_safety.h"
#include "emulator/content_file.h"
#include "emulator/kept_records.h"
#include "emulator/ledger.h"
#include "emulator/record_table.h"

namespace emulator {

// Keeps everything in a folder: records in one file, the bytes of contents in another. What a call
// has told is there after a kill at any moment. One emulator has a folder at a time.
class DataFolder : public Ledger {
 public:
  // Opens the folder, made if need be, for its owner alone. Throws std::runtime_error.
  explicit DataFolder(const std::filesystem::path& folder);

  // None: the folder is new, or TakeKept has been called.
  const std::optional<Account>& account() const { return kept_.account; }
  // What the folder held; once.
  Kept TakeKept() { return std::exchange(kept_, {}); }
  void Put(const Account& account);
  // Once the store holds what the folder does; and before the store goes, whose contents must stay.
  void StartReleasing() { contents_->StartReleasing(); }
  void StopReleasing() { contents_->StopReleasing(); }

  void Put(const Bucket& bucket) override;
  void Put(const Version& version) override;
  void Put(const Version& unfinished, const Part& part) override;
  void Put(const Key& key) override;
  void ForgetBucket(const std::string& id) override;
  void Forget(const Version& version, uint64_t next_sequence) override;
  void ForgetKey(const std::string& id) override;
  void Replace(const State& state) override;
  void Replace(const std::vector<KeyPtr>& keys) override;
  bool Once(const std::string& what, const std::function<bool()>& act) override;
  bool KeepsContents() const override { return true; }
  std::unique_ptr<ContentSink> NewContent(uint64_t size) override;
  ContentPtr Adopt(ContentPtr content) override;

 private:
  // All records that `change` writes, or, when it throws, none. Throws 503.
  void Write(const std::function<void(RecordTable&)>& change);

  RecordTable& SetTogether(bool together);

  base::Mutex mutex_;
  RecordTable table_ B2_GUARDED_BY(mutex_);
  bool together_ B2_GUARDED_BY(mutex_) = false;  // inside of Once, which ends the transaction
  const std::shared_ptr<ContentFile> contents_;
  Kept kept_;
};

}  // namespace emulator
