#pragma once

#include <string>

#include "host/local/local_folders.h"
#include "host/transfer/storage.h"
#include "host/transfer/sync_book.h"
#include "host/transfer/sync_run.h"

namespace b2drive {

// Makes a folder of this machine like one of the drive. Files get the time at which they were
// stored. What somebody changed here since the plan was made is left alone.
class SyncDown final : public SyncSteps {
 public:
  // `path` is of the folder on the drive. All but that is borrowed.
  SyncDown(PatientDrive& drive, const LocalFolders& local, std::string path, SyncBook& book)
      : drive_(drive), storage_(drive), local_(local), path_(std::move(path)), book_(book) {}

  bool Differs(const SyncAction& action) override;
  bool Do(const SyncAction& action) override;
  bool FoldersMustBeEmpty() const override { return true; }

 private:
  void Fetch(const SyncAction& action);
  void DeleteFile(const SyncAction& action);
  bool DeleteFolder(const SyncAction& action);
  // Throws kExists unless what is at the path in the open folder is what was planned with.
  void RequireAsPlanned(int folder, const SyncAction& action) const;
  std::string PathOf(const SyncAction& action) const { return Join(path_, action.path); }
  std::string Shown(const SyncAction& action) const { return local_.PathOf(action.path).string(); }

  PatientDrive& drive_;
  Storage storage_;
  const LocalFolders& local_;
  const std::string path_;
  SyncBook& book_;
};

}  // namespace b2drive
