#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/thread_safety.h"
#include "protocol/records.h"

namespace probe {

// The drive that the probe shows: the bucket "bucket-one" with the files of kSeed in it, each as
// often as the process begins. For any number of threads.
//
// Every change is a line of the file that B2PROBE_JOURNAL names, so that a test sees what was
// really done: "stored PATH BYTES SHA1" and "deleted PATH".
class Store {
 public:
  Store();

  static constexpr char kBucketId[] = "b1";
  static constexpr char kBucket[] = "bucket-one";

  struct File {
    std::string name;  // in the bucket
    std::string id;
    std::shared_ptr<const std::string> bytes;
  };

  std::optional<File> Find(const std::string& id);  // a file's identifier
  // Records of a folder; `prefix` is its name in the bucket with a slash behind, or empty.
  std::vector<_FS_FILE_V2> List(const std::string& prefix);
  _FS_FILE_V2 Put(const std::string& name, std::string bytes);
  // False when there was none.
  bool Delete(const std::string& id);
  bool HasBelow(const std::string& prefix);
  void DeleteBelow(const std::string& prefix);

 private:
  _FS_FILE_V2 RecordOf(const File& file, std::size_t prefix) const;

  base::Mutex mutex_;
  std::map<std::string, File> files_ B2_GUARDED_BY(mutex_);  // by name
  int last_ B2_GUARDED_BY(mutex_) = 0;
};

// 40 digits.
std::string Sha1(const std::string& bytes);

}  // namespace probe
