#include "emulator/large_files.h"

#include <optional>

#include "emulator/errors.h"
#include "emulator/file_id.h"

namespace emulator {

VersionPtr LargeFiles::Insert(VersionPtr start) {
  files_[start->sequence] = {start, {}};
  return start;
}

const LargeFiles::File& LargeFiles::At(const std::string& file_id) const {
  const std::optional<uint64_t> sequence = SequenceOf(file_id);
  if (!sequence) throw BadRequest("Invalid fileId: " + file_id);
  const auto found = files_.find(*sequence);
  if (found == files_.end() || found->second.start->Id() != file_id) {
    throw BadRequest("No active upload for: " + file_id);
  }
  return found->second;
}

Part LargeFiles::Put(const std::string& file_id, Part part) {
  const int64_t number = part.number;
  return files_.at(Find(file_id)->sequence).parts[number] = std::move(part);
}

std::vector<Part> LargeFiles::Parts(const std::string& file_id) const {
  std::vector<Part> parts;
  for (const auto& [number, part] : At(file_id).parts) parts.push_back(part);
  return parts;
}

ContentPtr LargeFiles::Join(const std::string& file_id, const std::vector<std::string>& sha1s,
                            int64_t minimum_size) const {
  const std::map<int64_t, Part>& parts = At(file_id).parts;
  if (sha1s.size() < 2) throw BadRequest("large files must have at least 2 parts");
  auto whole = std::make_shared<Content>();
  for (size_t i = 1; i <= sha1s.size(); ++i) {
    const std::string number = std::to_string(i);
    const auto part = parts.find(static_cast<int64_t>(i));
    if (part == parts.end()) {
      throw ServiceError(400, "missing_part", "Part number " + number + " has not been uploaded");
    }
    const Content& content = *part->second.content;
    if (BareSha1(content.sha1) != BareSha1(sha1s[i - 1])) {
      throw ServiceError(400, "part_sha1_mismatch", "Checksum of part " + number + " is another");
    }
    const bool last = i == sha1s.size();
    if (!last && static_cast<int64_t>(content.size()) < minimum_size) {
      throw BadRequest("Part number " + number + " is smaller than " +
                       std::to_string(minimum_size) + " bytes");
    }
    whole->Append(content, 0, content.size());
  }
  return whole;
}

std::vector<VersionPtr> LargeFiles::InBucket(const std::string& bucket_id) const {
  std::vector<VersionPtr> starts;
  for (const auto& [sequence, file] : files_) {
    if (*file.start->bucket_id == bucket_id) starts.push_back(file.start);
  }
  return starts;
}

}  // namespace emulator
