#include <utility>

#include "emulator/errors.h"
#include "emulator/file_id.h"
#include "emulator/store.h"

namespace emulator {
namespace {

ContentPtr NoContent() {
  static const ContentPtr nothing = std::make_shared<const Content>();
  return nothing;
}

ServiceError NoActiveUpload(const std::string& file_id) {
  return BadRequest("No active upload for: " + file_id);
}

ContentPtr Join(const std::map<int64_t, Part>& parts, int64_t count) {
  auto whole = std::make_shared<Content>();
  for (int64_t i = 1; i <= count; ++i) {
    const Content& part = *parts.at(i).content;
    whole->Append(part, 0, part.size());
  }
  return whole;
}

}  // namespace

Store::LargeFile& Store::Large(const std::string& file_id) {
  const VersionPtr version = Lookup(file_id);
  const auto found = version ? large_.find(version->sequence) : large_.end();
  if (found == large_.end()) throw NoActiveUpload(file_id);
  return found->second;
}

const Store::LargeFile& Store::Large(const std::string& file_id) const {
  const VersionPtr version = Lookup(file_id);
  const auto found = version ? large_.find(version->sequence) : large_.end();
  if (found == large_.end()) throw NoActiveUpload(file_id);
  return found->second;
}

VersionPtr Store::StartLarge(const std::string& bucket_id, const NewFile& file) {
  CheckFileName(file.name);
  base::WriteLock lock(mutex_);
  BucketState& bucket = At(bucket_id);
  auto start = std::make_shared<Version>(*Make(bucket, file, NoContent(), Action::kStart));
  start->large = true;
  large_[start->sequence] = {start, {}};
  Insert(bucket, start);
  return start;
}

Part Store::AddPart(const std::string& file_id, int64_t number, ContentPtr content) {
  if (number < 1 || number > 10'000) {
    throw BadRequest("Part number must be between 1 and 10000: " + std::to_string(number));
  }
  base::WriteLock lock(mutex_);
  LargeFile& large = Large(file_id);
  return large.parts[number] = {number, std::move(content), rules_.clock()};
}

void Store::CheckParts(const LargeFile& large, const std::vector<std::string>& part_sha1s) const {
  const size_t least = rules_.allow_single_part ? 1 : 2;
  if (part_sha1s.size() < least) throw BadRequest("large files must have at least 2 parts");
  for (size_t i = 1; i <= part_sha1s.size(); ++i) {
    const std::string number = std::to_string(i);
    const auto part = large.parts.find(static_cast<int64_t>(i));
    if (part == large.parts.end()) {
      throw ServiceError(400, "missing_part", "Part number " + number + " has not been uploaded");
    }
    const Content& content = *part->second.content;
    if (BareSha1(content.sha1) != BareSha1(part_sha1s[i - 1])) {
      throw ServiceError(400, "part_sha1_mismatch", "Checksum of part " + number + " is another");
    }
    const bool last = i == part_sha1s.size();
    if (!last && static_cast<int64_t>(content.size()) < rules_.minimum_part_size) {
      throw BadRequest("Part number " + number + " is smaller than " +
                       std::to_string(rules_.minimum_part_size) + " bytes");
    }
  }
}

VersionPtr Store::FinishLarge(const std::string& file_id,
                              const std::vector<std::string>& part_sha1s) {
  base::WriteLock lock(mutex_);
  const LargeFile& large = Large(file_id);
  CheckParts(large, part_sha1s);
  const VersionPtr start = large.start;
  auto finished = std::make_shared<Version>(*start);
  finished->action = Action::kUpload;
  finished->content = Join(large.parts, static_cast<int64_t>(part_sha1s.size()));
  BucketState& bucket = At(*start->bucket_id);
  large_.erase(start->sequence);
  Erase(bucket, start);
  Insert(bucket, finished);
  return finished;
}

VersionPtr Store::CancelLarge(const std::string& file_id) {
  base::WriteLock lock(mutex_);
  VersionPtr start = Large(file_id).start;
  large_.erase(start->sequence);
  Erase(At(*start->bucket_id), start);
  return start;
}

VersionPtr Store::ActiveLarge(const std::string& file_id) const {
  base::ReadLock lock(mutex_);
  return Large(file_id).start;
}

std::vector<Part> Store::Parts(const std::string& file_id) const {
  base::ReadLock lock(mutex_);
  std::vector<Part> parts;
  for (const auto& [number, part] : Large(file_id).parts) parts.push_back(part);
  return parts;
}

std::vector<VersionPtr> Store::Unfinished(const std::string& bucket_id) const {
  base::ReadLock lock(mutex_);
  At(bucket_id);
  std::vector<VersionPtr> files;
  for (const auto& [sequence, large] : large_) {
    if (*large.start->bucket_id == bucket_id) files.push_back(large.start);
  }
  return files;
}

size_t Store::UnfinishedCount() const {
  base::ReadLock lock(mutex_);
  return large_.size();
}

}  // namespace emulator
