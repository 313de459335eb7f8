#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/local/local_file.h"
#include "host/plugin/path_index.h"
#include "host/transfer/storage.h"

namespace b2drive {

// One file that is to be stored.
struct Upload {
  std::filesystem::path local;
  std::optional<LocalSource> spooled;  // in place of `local`: what standard input gave
  std::string parent_id;
  std::string path;
  std::uint64_t size = 0;  // when it was planned, for the progress bar
};

// Where sources go, by the rules of cp: into an existing folder under their own names, else a
// single one to the path itself.
struct Target {
  std::string folder;
  std::string name;  // empty: the source's own
};

// Throws kNotFound when the folder does not exist.
Target ChooseTarget(PathIndex& index, const PathArgument& argument, bool several);

// Finds the files to store, and makes the folders for them on the way.
class UploadPlan {
 public:
  UploadPlan(Storage storage, PathIndex& index) : storage_(storage), index_(index) {}

  void AddStandardInput(const Target& target);
  void AddFile(const std::filesystem::path& local, const Target& target);
  // Everything in `local`. Links and other special files inside are left out with a note.
  void AddFolder(const std::filesystem::path& local, const Target& target);

  std::vector<Upload> Take() { return std::move(uploads_); }

 private:
  // Makes the folder unless it is there, and adds what is in `local`.
  void AddFolder(const Entry& parent, const std::string& path, const std::filesystem::path& local);
  void Add(const std::filesystem::path& local, const std::string& parent_id,
           const std::string& path);

  Storage storage_;
  PathIndex& index_;
  std::vector<Upload> uploads_;
};

}  // namespace b2drive
