#pragma once

#include <string>

namespace b2drive {

// The object that keeps a folder without files. No listing shows it, nor another name that ends so.
inline constexpr char kMarkerName[] = ".bzEmpty";

// Throws FsError unless the service can store the last name of `path`, a folder or file below a
// bucket, and every client can show it.
void CheckName(const std::string& path);

}  // namespace b2drive
