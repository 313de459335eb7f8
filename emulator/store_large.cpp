#include <utility>

#include "emulator/errors.h"
#include "emulator/names.h"
#include "emulator/store.h"
#include "emulator/timestamp.h"

namespace emulator {

VersionPtr Store::StartLarge(const std::string& bucket_id, const NewFile& file) {
  static const ContentPtr none = std::make_shared<const Content>();
  CheckFileName(file.name);
  base::WriteLock lock(mutex_);
  BucketState& bucket = At(bucket_id);
  Version start = Make(bucket, file, none, Action::kStart);
  start.large = true;
  return large_.Insert(Add(bucket, std::move(start)));
}

Part Store::AddPart(const std::string& file_id, int64_t number, ContentPtr content) {
  if (number < 1 || number > 10'000) {
    throw BadRequest("Part number must be between 1 and 10000: " + std::to_string(number));
  }
  const Part part{number, Adopt(std::move(content)), Timestamp()};
  base::WriteLock lock(mutex_);
  ledger_->Put(*large_.Find(file_id), part);
  return large_.Put(file_id, part);
}

VersionPtr Store::FinishLarge(const std::string& file_id,
                              const std::vector<std::string>& part_sha1s) {
  base::WriteLock lock(mutex_);
  const VersionPtr start = large_.Find(file_id);
  auto finished = std::make_shared<Version>(*start);
  finished->action = Action::kUpload;
  finished->content = large_.Join(file_id, part_sha1s, minimum_part_size_);
  ledger_->Put(*finished);
  Erase(start);
  Insert(At(*start->bucket_id), finished);
  return finished;
}

VersionPtr Store::CancelLarge(const std::string& file_id) {
  base::WriteLock lock(mutex_);
  VersionPtr start = large_.Find(file_id);
  Remove(start);
  return start;
}

VersionPtr Store::ActiveLarge(const std::string& file_id) const {
  base::ReadLock lock(mutex_);
  return large_.Find(file_id);
}

std::vector<Part> Store::Parts(const std::string& file_id) const {
  base::ReadLock lock(mutex_);
  return large_.Parts(file_id);
}

std::vector<VersionPtr> Store::Unfinished(const std::string& bucket_id) const {
  base::ReadLock lock(mutex_);
  At(bucket_id);  // which must exist
  return large_.InBucket(bucket_id);
}

size_t Store::UnfinishedCount() const {
  base::ReadLock lock(mutex_);
  return large_.size();
}

}  // namespace emulator
