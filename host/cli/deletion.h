#pragma once

#include <vector>

#include "host/path_index.h"

namespace b2drive::cli {

// Something that is to be deleted.
struct Victim {
  RemotePath path;
  Entry entry;
};

// What goes with `victim`: 1 for itself, and for a folder everything below it.
std::size_t CountItems(PathIndex& index, const Victim& victim);

// Throws kNotConfirmed unless the user agrees. Not asked for a single item, nor when `yes`.
void ConfirmDeletion(const std::vector<Victim>& victims, std::size_t items, bool yes);

// Deletes an empty bucket, or a folder with everything in it.
void DeleteFolder(Drive& drive, const Victim& victim);

// Names in `folder` that begin with `name` and are not the file of that name.
std::vector<std::string> LongerNames(const Listing& folder, const std::string& name);

}  // namespace b2drive::cli
