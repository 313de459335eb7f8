#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/local/local_file.h"
#include "host/plugin/path_index.h"
#include "host/terminal/changes.h"
#include "host/transfer/crew.h"
#include "host/transfer/filter.h"
#include "host/transfer/storage.h"

namespace b2drive {

// A folder on the drive that files go into.
struct TargetFolder {
  std::string id;
  std::string path;
  std::map<std::string, TargetFolder> inner;  // by name; made where they are missing

  TargetFolder& Inner(const std::string& name);
};

// One file that is to be stored.
struct Upload {
  std::filesystem::path local;
  std::optional<LocalSource> spooled;  // in place of `local`: what standard input gave
  const TargetFolder* folder = nullptr;
  std::string name;
  std::uint64_t size = 0;  // when it was planned, for the progress bar

  std::string path() const { return Join(folder->path, name); }
};

// Finds what is to be stored where, before anything is sent. A name that the service or a mount
// could not hold is refused: with that what is in a folder of the name.
class UploadPlan {
 public:
  // Files and folders below the folders that are added are chosen by `filter`, which must outlive
  // the plan.
  UploadPlan(PathIndex& index, const Filter& filter) : index_(index), filter_(filter) {}
  UploadPlan(const UploadPlan&) = delete;  // it is pointed into
  UploadPlan& operator=(const UploadPlan&) = delete;

  // Where all go, by the rules of cp: into an existing folder under their own names, else a single
  // one to the path itself. With `parents` folders that are missing are planned, too. Throws
  // kNotFound when one does not exist.
  void SetTarget(const PathArgument& argument, bool several, bool parents);

  void AddStandardInput();
  void AddFile(const std::filesystem::path& local);
  // Everything in `local`. Links and other special files inside are left out with a note.
  void AddFolder(const std::filesystem::path& local);

  std::vector<Upload>& uploads() { return uploads_; }
  // Of what cannot be stored, one each.
  const std::vector<HostError>& refusals() const { return refusals_; }

  // Makes what is missing of the folders. `crew` runs it; the plan must outlive that.
  void MakeFolders(Storage storage, Crew& crew, Changes& changes);

 private:
  struct FolderMaking {
    mutable Storage storage;
    Crew& crew;
    Changes& changes;
  };

  void SetFolder(std::string path, bool parents);
  std::string NameFor(const std::filesystem::path& local) const;
  template <typename Action>
  void OrRefuse(Action action);
  // `below` are the names between the folder that was added and this one, for the filter.
  void Walk(TargetFolder& target, const std::filesystem::path& local, const std::string& below);
  void WalkInto(TargetFolder& target, const std::filesystem::directory_entry& entry,
                const std::string& below);
  void Add(const std::filesystem::path& local, TargetFolder& folder, const std::string& name);
  void MakeInner(const TargetFolder& folder, bool missing, const FolderMaking& how);

  PathIndex& index_;
  const Filter& filter_;
  TargetFolder existing_;           // the last folder on the way to the target that is there
  TargetFolder* target_ = nullptr;  // it, or one in it
  std::string name_;                // empty: each source's own
  std::vector<Upload> uploads_;
  std::vector<HostError> refusals_;
};

}  // namespace b2drive
