#pragma once

#include <string>
#include <vector>

#include "host/common/path.h"
#include "host/local/local_file.h"
#include "host/patient/patient_drive.h"

namespace b2drive {

// Writing on the drive. All throw HostError. Any number of threads may call.
class Storage {
 public:
  explicit Storage(PatientDrive& drive) : drive_(drive) {}  // borrowed

  // Stores `source` with its time as `path` in the folder `parent_id`; `texts` as FileAttributes
  // has them. When an answer was lost and the file is there under that name, it is not sent again.
  // Gives the stored file's entry.
  Entry PutFile(const std::string& parent_id, const std::string& path, const LocalSource& source,
                const std::vector<std::string>& texts = {});

  // Makes a folder in `parent`, or a bucket in the root, and gives its entry.
  Entry MakeFolder(const Entry& parent, const std::string& path);

  // Deletes what keeps an empty folder, and nothing else. False when it has no such object.
  bool RemoveMarker(const Entry& folder, const std::string& path);

  // Whether the stored file, which is at `path` and has the source's size, has its bytes, too. It
  // is read only where its hash is not known.
  bool HoldsBytesOf(const LocalSource& source, const Entry& stored, const std::string& path);

 private:
  std::optional<Entry> FindStored(const std::string& parent_id, const std::string& path,
                                  const LocalSource& source);

  PatientDrive& drive_;
};

}  // namespace b2drive
