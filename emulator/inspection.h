#pragma once

#include <string>
#include <vector>

#include "emulator/store.h"

namespace emulator {

// What a bucket holds, for tests. All throw ServiceError when the bucket does not exist.

// Names that list_file_names shows, in order.
std::vector<std::string> VisibleNames(const Store& store, const std::string& bucket);

// The versions of one name, newest first; hide markers and unfinished files included.
std::vector<VersionPtr> VersionsOf(const Store& store, const std::string& bucket,
                                   const std::string& name);

// The contents of those versions, with these texts for hide markers and unfinished large files.
inline constexpr const char* kHidden = "(hidden)";
inline constexpr const char* kUnfinished = "(unfinished)";
std::vector<std::string> Versions(const Store& store, const std::string& bucket,
                                  const std::string& name);

// Content of the visible file of that name; throws 404 when there is none.
std::string ReadText(const Store& store, const std::string& bucket, const std::string& name);

}  // namespace emulator
