#include "host/transfer/upload_plan.h"

#include <algorithm>

#include "host/common/errors.h"
#include "host/terminal/report.h"

namespace b2drive {
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
    throw HostError(ExitCode::kWrongKind, "/", "holds buckets only; name one: /BUCKET/...");
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
    throw HostError(ExitCode::kWrongKind, target.folder,
                    "is a folder; standard input needs a file name");
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
  Entry parent = FileFolder(index_, target.folder);
  std::string name = target.name.empty() ? OwnName(local) : target.name;
  AddFolder(parent, Join(target.folder, name), local);
}

void UploadPlan::AddFolder(const Entry& parent, const std::string& path, const fs::path& local) {
  auto folder = index_.LookupFolder(path);
  if (!folder) {
    folder = storage_.MakeFolder(parent, path);
    index_.AddFolder(path, *folder);
  }
  for (const fs::directory_entry& entry : SortedEntries(local)) {
    const std::string inner = Join(path, entry.path().filename().string());
    if (entry.is_symlink() || (!entry.is_directory() && !entry.is_regular_file())) {
      Note("put", entry.path().string() + ": left out, neither a file nor a folder");
    } else if (entry.is_directory()) {
      AddFolder(*folder, inner, entry.path());
    } else {
      Add(entry.path(), folder->id, inner);
    }
  }
}

void UploadPlan::Add(const fs::path& local, const std::string& parent_id, const std::string& path) {
  std::error_code error;
  std::uint64_t size = fs::file_size(local, error);
  if (error) throw LocalFailure(local.string(), error.value());
  uploads_.push_back({local, std::nullopt, parent_id, path, size});
}

}  // namespace b2drive
