#pragma once

#include <string>
#include <vector>

#include "emulator/store.h"

namespace emulator {

/// What a bucket holds, for tests. They throw ServiceError when the bucket does not exist.

/// Names that list_file_names shows, in order.
std::vector<std::string> VisibleNames(const Store& store, const std::string& bucket);

/// All versions in order of names, newest first; hide markers and unfinished files included.
std::vector<VersionPtr> AllVersions(const Store& store, const std::string& bucket);

/// Content of the visible file of that name; throws 404 when there is none.
std::string ReadText(const Store& store, const std::string& bucket, const std::string& name);

}  // namespace emulator
