#pragma once

#include "host/common/path.h"
#include "host/local/local_file.h"
#include "host/patient/patient_drive.h"

namespace b2drive {

// Writing on the drive. All throw HostError. Any number of threads may call.
class Storage {
 public:
  explicit Storage(PatientDrive& drive) : drive_(drive) {}  // borrowed

  // Stores `source` as `path` in the folder `parent_id`. When an answer was lost and the bytes are
  // there under that name, they are not sent again. Gives the stored file's entry.
  Entry PutFile(const std::string& parent_id, const std::string& path, const LocalSource& source);

  // Makes a folder in `parent`, or a bucket in the root, and gives its entry.
  Entry MakeFolder(const Entry& parent, const std::string& path);

  // Deletes what keeps an empty folder, and nothing else. False when it has no such object.
  bool RemoveMarker(const Entry& folder, const std::string& path);

  // Whether the stored file, which is at `path` and has the source's size, has its bytes, too.
  bool HoldsBytesOf(const LocalSource& source, const Entry& stored, const std::string& path);

 private:
  void RefuseOnePart(const std::string& path, std::uint64_t size);
  std::optional<Entry> FindStored(const std::string& parent_id, const std::string& path,
                                  const LocalSource& source);

  PatientDrive& drive_;
};

}  // namespace b2drive
