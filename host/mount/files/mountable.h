#pragma once

#include <string>

#include "host/plugin/entry.h"

namespace b2drive::mount {

// What a file system can show of the listing of `folder`: without names that it cannot hold, and of
// a file and a folder of one name the folder, or what is in it were lost.
Listing OnlyMountable(Listing listing, const std::string& folder);

}  // namespace b2drive::mount
