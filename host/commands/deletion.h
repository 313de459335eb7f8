#pragma once

#include <vector>

#include "host/patient/patient_drive.h"
#include "host/plugin/path_index.h"
#include "host/transfer/filter.h"

namespace b2drive::cli {

// Something that is to be deleted.
struct Victim {
  std::string path;
  Entry entry;
};

// How much goes with a deletion.
struct Amount {
  std::size_t items = 0;
  bool at_least = false;  // more, in folders whose name is empty, which cannot be listed
};

// Throws kUsage unless `argument` names one thing that can be deleted.
void CheckDeletable(const PathArgument& argument);

// Adds what goes with `victim`: itself, and for a folder everything below it; of what a filter
// takes there, the files.
void Count(PatientDrive& drive, const Victim& victim, const Filter& filter, Amount& amount);

// Throws kNotConfirmed unless the user agrees. Not asked for a single item, nor when `yes`. After
// an answer everything is looked up afresh.
void ConfirmDeletion(const std::vector<Victim>& victims, const Amount& amount, bool yes,
                     PathIndex& index);

// Deletes an empty bucket, or a folder with everything in it.
void DeleteFolder(PatientDrive& drive, const Victim& victim);

// Names beside the file at `path` that begin with its name.
std::vector<std::string> LongerNames(PathIndex& index, const std::string& path);

}  // namespace b2drive::cli
