#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "emulator/version.h"

namespace emulator {

struct Part {
  int64_t number;
  ContentPtr content;
  int64_t timestamp;  // ms since 1970
};

// The large files that are not finished yet. Each call that takes a file ID throws 400 for one that
// is not among them.
class LargeFiles {
 public:
  VersionPtr Insert(VersionPtr start);
  void Erase(const Version& start) { files_.erase(start.sequence); }

  VersionPtr Find(const std::string& file_id) const { return At(file_id).start; }
  // Adds the part, or replaces that of the same number.
  Part Put(const std::string& file_id, Part part);
  // In order of their numbers.
  std::vector<Part> Parts(const std::string& file_id) const;
  // What the parts make together. Throws 400 unless there are at least two, with these hashes, and
  // all but the last of at least `minimum_size` bytes.
  ContentPtr Join(const std::string& file_id, const std::vector<std::string>& sha1s,
                  int64_t minimum_size) const;

  // Oldest first.
  std::vector<VersionPtr> InBucket(const std::string& bucket_id) const;
  size_t size() const { return files_.size(); }

 private:
  struct File {
    VersionPtr start;
    std::map<int64_t, Part> parts;
  };

  const File& At(const std::string& file_id) const;

  std::map<uint64_t, File> files_;  // by sequence
};

}  // namespace emulator
