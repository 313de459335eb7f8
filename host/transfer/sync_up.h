#pragma once

#include <string>

#include "host/local/local_file.h"
#include "host/local/local_folders.h"
#include "host/plugin/path_index.h"
#include "host/transfer/storage.h"
#include "host/transfer/sync_book.h"
#include "host/transfer/sync_run.h"

namespace b2drive {

// Makes a folder of the drive like one of this machine. Nothing is read outside of that one, also
// where somebody puts a link into the way.
class SyncUp final : public SyncSteps {
 public:
  // `folder`, which need not exist, is at `path`. All but that is borrowed.
  SyncUp(PatientDrive& drive, PathIndex& index, const LocalFolders& local, Entry folder,
         std::string path, SyncBook& book)
      : drive_(drive),
        index_(index),
        storage_(drive),
        local_(local),
        folder_(std::move(folder)),
        path_(std::move(path)),
        book_(book) {}

  bool Differs(const SyncAction& action) override;
  bool Do(const SyncAction& action) override;
  bool FoldersMustBeEmpty() const override { return false; }

 private:
  struct OpenedFile {
    LocalSource source;
    SyncedFile before;  // as it is now
  };

  OpenedFile OpenFile(const std::string& path) const;
  bool IsChanged(const OpenedFile& file) const;
  void Send(const SyncAction& action);
  bool MakeFolder(const SyncAction& action);
  void DeleteFile(const SyncAction& action);
  std::string PathOf(const SyncAction& action) const { return Join(path_, action.path); }
  std::string FolderId(std::string_view path) const;

  PatientDrive& drive_;
  PathIndex& index_;
  Storage storage_;
  const LocalFolders& local_;
  const Entry folder_;
  const std::string path_;
  SyncBook& book_;
};

}  // namespace b2drive
