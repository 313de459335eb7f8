#pragma once

#include <vector>

#include "host/cli/context.h"
#include "host/patient/patient_drive.h"
#include "host/plugin/path_index.h"
#include "host/transfer/filter.h"

namespace b2drive::cli {

// Something that is to be deleted.
struct Victim {
  std::string path;
  Entry entry;
};

// What a question is about.
enum class Deed { kDelete, kHide, kCancel };

// How much goes with a deletion.
struct Amount {
  std::size_t items = 0;
  std::size_t versions = 0;  // of all files in it; 0 when they are not counted
  bool at_least = false;     // more, in folders whose name is empty, which cannot be listed
  bool unseen = false;       // more than the user has named or can see: asked even for one item
};

// Throws kUsage unless `argument` names one thing that can be deleted.
void CheckDeletable(const PathArgument& argument);

// Adds what goes with `victim`: itself, and for a folder everything below it; of what a filter
// takes there, the files.
void Count(PatientDrive& drive, const Victim& victim, const Filter& filter, Amount& amount);

// Adds the versions that go with the victims, and whether one is a folder that only looks empty.
// The markers of folders do not count.
void CountVersions(Context& context, const std::vector<Victim>& victims, const Filter& filter,
                   Amount& amount);

// Throws kNotConfirmed unless the user agrees. Not asked for a single item, nor when `yes`. After
// an answer everything is looked up afresh.
void ConfirmDeletion(const std::vector<Victim>& victims, const Amount& amount, bool yes,
                     PathIndex& index, Deed deed = Deed::kDelete);

// Deletes an empty bucket, or a folder with everything in it.
void DeleteFolder(PatientDrive& drive, const Victim& victim);

// Names beside the file at `path` that begin with its name.
std::vector<std::string> LongerNames(PathIndex& index, const std::string& path);

}  // namespace b2drive::cli
