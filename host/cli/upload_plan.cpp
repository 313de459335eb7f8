#include "host/cli/upload_plan.h"

#include <algorithm>

#include "host/cli/commands.h"
#include "host/common/errors.h"

namespace b2drive::cli {
namespace fs = std::filesystem;
namespace {

// The last element of a path as the user means it: "photos" for "photos/" and for "." in it.
std::string OwnName(const fs::path& local) {
  fs::path path = local.lexically_normal();
  if (path.filename().empty()) path = path.parent_path();
  if (path.filename() == "." || path.filename() == "..") path = fs::canonical(path);
  return path.filename().string();
}

Entry FileFolder(PathIndex& index, const std::string& path) {
  if (IsRoot(path)) {
    throw HostError(ExitCode::kWrongKind, "/: holds buckets only; name one: /BUCKET/...");
  }
  return index.FindFolder(path);
}

std::vector<fs::directory_entry> SortedEntries(const fs::path& folder) {
  std::error_code error;
  std::vector<fs::directory_entry> entries;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    entries.push_back(*at);
  }
  if (error) throw LocalFailure(folder.string(), error.value());
  std::ranges::sort(entries);
  return entries;
}

}  // namespace

Target ChooseTarget(PathIndex& index, const PathArgument& argument, bool several) {
  const std::string& path = argument.path;
  auto found = index.Lookup(argument);
  if (found && found->folder) return {path, ""};
  if (several || argument.asks_for_folder) index.FindFolder(path);
  return {ParentOf(path), NameOf(path)};
}

void UploadPlan::AddStandardInput(const Target& target) {
  if (target.name.empty()) {
    throw HostError(ExitCode::kWrongKind,
                    target.folder + ": is a folder; standard input needs a file name");
  }
  Entry parent = FileFolder(index_, target.folder);
  LocalSource source = SpoolStandardInput();
  std::uint64_t size = source.size;
  uploads_.push_back({"-", std::move(source), parent.id, Join(target.folder, target.name), size});
}

void UploadPlan::AddFile(const fs::path& local, const Target& target) {
  Entry parent = FileFolder(index_, target.folder);
  std::string name = target.name.empty() ? OwnName(local) : target.name;
  Add(local, parent.id, Join(target.folder, name));
}

void UploadPlan::AddFolder(const fs::path& local, const Target& target) {
  FileFolder(index_, target.folder);
  std::string name = target.name.empty() ? OwnName(local) : target.name;
  AddContents(Enter(Open(target.folder), name), local);
}

UploadPlan::Folder UploadPlan::Open(const std::string& path) {
  return {index_.FindFolder(path), path, index_.Children(path)};
}

UploadPlan::Folder UploadPlan::Enter(const Folder& parent, const std::string& name) {
  std::string path = Join(parent.path, name);
  auto exists = std::ranges::any_of(
      *parent.children, [&](const Entry& entry) { return entry.folder && entry.name == name; });
  if (exists) return Open(path);
  Entry made = storage_.MakeFolder(parent.entry, path);
  index_.Forget(parent.path);
  return {made, path, std::make_shared<const Listing>()};
}

void UploadPlan::AddContents(const Folder& folder, const fs::path& local) {
  for (const fs::directory_entry& entry : SortedEntries(local)) {
    std::string name = entry.path().filename().string();
    if (entry.is_symlink() || (!entry.is_directory() && !entry.is_regular_file())) {
      Report("put", entry.path().string() + ": left out, neither a file nor a folder");
    } else if (entry.is_directory()) {
      AddContents(Enter(folder, name), entry.path());
    } else {
      Add(entry.path(), folder.entry.id, Join(folder.path, name));
    }
  }
}

void UploadPlan::Add(const fs::path& local, const std::string& parent_id, const std::string& path) {
  std::error_code error;
  std::uint64_t size = fs::file_size(local, error);
  if (error) throw LocalFailure(local.string(), error.value());
  uploads_.push_back({local, std::nullopt, parent_id, path, size});
}

}  // namespace b2drive::cli
