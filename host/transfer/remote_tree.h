#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/patient/patient_drive.h"
#include "host/transfer/filter.h"

namespace b2drive {

// One file or folder in a tree of the drive.
struct RemoteItem {
  std::string path;  // from the tree's root on: names with slashes between them, none before
  Entry entry;
};

// Lists `folder`, which is at `path`, and all folders in it, many of them at once, and calls
// `visit` with each item that the filter takes: one at a time, from any thread, and a folder before
// what is in it. A file and a folder can have one name. Folders whose name is empty are visited,
// but nobody can list them.
//
// Throws what the first listing that fails or `visit` throws; nothing more is visited then. Also
// for folders that go deeper than names of the service can be long.
void WalkRemoteTree(PatientDrive& drive, const Entry& folder, const std::string& path,
                    const Filter& filter, const std::function<void(RemoteItem)>& visit);

// Throws when a folder's path is longer than names of the service can be: one that makes folders up
// would have folders in each for ever.
void RefuseEndless(const std::string& path);

// All items, in the order of their paths' bytes, the file before the folder. Throws as above.
std::vector<RemoteItem> ReadRemoteTree(PatientDrive& drive, const Entry& folder,
                                       const std::string& path, const Filter& filter);

}  // namespace b2drive
