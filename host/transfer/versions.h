#pragma once

#include <optional>
#include <string>

#include "host/patient/patient_drive.h"
#include "host/plugin/path_index.h"

namespace b2drive {

// Stored states of files. `versions` is a drive in the view of versions, of one thread.

// Those of the file at `path` with the markers that hid it, the newest first; none where no file
// ever was. Throws HostError.
Listing VersionsOf(PatientDrive& versions, PathIndex& index, const std::string& path);

// Whether it is a marker that hides a name.
bool IsHideMarker(const Entry& version);

// The service's own identifier, which other programs know, too.
std::string FileIdOf(const Entry& version);

// The version of this identifier, the service's or the plug-in's. Throws kNotFound.
Entry FindVersion(const Listing& versions, const std::string& id, const std::string& path);

// Of one name's versions that which was shown at `time`; none where none was, or it was hidden.
std::optional<Entry> VersionAt(const Listing& versions, const timespec& time);

// Whether a folder stood at `time`: by its marker, or by what was in it. Throws HostError.
bool StoodAt(PatientDrive& versions, const std::string& folder_id, const std::string& path,
             const timespec& time);

// What stood in a folder at `time`. Folders count by what was in them. Throws HostError.
Listing FolderAt(PatientDrive& versions, const std::string& folder_id, const std::string& path,
                 const timespec& time);

}  // namespace b2drive
