#include "host/transfer/upload_plan.h"

#include <algorithm>
#include <utility>

#include "host/common/errors.h"
#include "host/common/name_rules.h"
#include "host/local/local_folders.h"
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

std::string BucketOf(const std::string& path) { return path.substr(0, path.find('/', 1)); }

void RequireBucket(PathIndex& index, const std::string& path) {
  if (IsRoot(path)) {
    throw HostError(ExitCode::kWrongKind, "/", "holds buckets only; name one: /BUCKET/...");
  }
  if (index.LookupFolder(BucketOf(path))) return;
  throw HostError(ExitCode::kNotFound, BucketOf(path), "no such bucket; b2drive mkdir makes one");
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

TargetFolder& TargetFolder::Inner(const std::string& name) {
  const auto [at, fresh] = inner.try_emplace(name);
  if (fresh) at->second = {Join(id, name), Join(path, name), {}};
  return at->second;
}

void UploadPlan::SetTarget(const PathArgument& argument, bool several, bool parents) {
  RequireBucket(index_, argument.path);
  const auto found = index_.Lookup(argument);
  const bool into = several || argument.asks_for_folder || (found && found->folder);
  if (into) return SetFolder(argument.path, parents);
  SetFolder(ParentOf(argument.path), parents);
  name_ = NameOf(argument.path);
}

void UploadPlan::SetFolder(std::string path, bool parents) {
  std::vector<std::string> missing;
  auto found = index_.LookupFolder(path);
  while (parents && !found && !index_.Lookup(path)) {
    CheckName(path);
    missing.push_back(NameOf(path));
    path = ParentOf(path);
    found = index_.LookupFolder(path);
  }
  existing_ = {found ? found->id : index_.FindFolder(path).id, path, {}};
  target_ = &existing_;
  for (; !missing.empty(); missing.pop_back()) target_ = &target_->Inner(missing.back());
}

std::string UploadPlan::NameFor(const fs::path& local) const {
  return name_.empty() ? OwnName(local) : name_;
}

template <typename Action>
void UploadPlan::OrRefuse(Action action) {
  try {
    action();
  } catch (const HostError& error) {
    refusals_.push_back(error);
  } catch (const fs::filesystem_error& error) {
    refusals_.push_back(LocalFailure(error.path1().string(), error.code().value()));
  }
}

void UploadPlan::AddStandardInput() {
  if (name_.empty()) {
    throw HostError(ExitCode::kWrongKind, target_->path,
                    "is a folder; standard input needs a file name");
  }
  CheckName(Join(target_->path, name_));
  LocalSource source = SpoolStandardInput();
  const std::uint64_t size = source.size;
  uploads_.push_back({"-", std::move(source), target_, name_, size});
}

void UploadPlan::AddFile(const fs::path& local) {
  if (!filter_.Takes(local.filename().native(), false)) return;
  OrRefuse([&] { Add(local, *target_, NameFor(local)); });
}

void UploadPlan::AddFolder(const fs::path& local) {
  OrRefuse([&] {
    const std::string name = NameFor(local);
    const std::string path = Join(target_->path, name);
    CheckName(path);
    const auto found = index_.Lookup(path);
    if (found && !found->folder) {
      throw HostError(ExitCode::kWrongKind, path, "is a file, not a folder");
    }
    Walk(target_->Inner(name), local, "");
  });
}

void UploadPlan::Walk(TargetFolder& target, const fs::path& local, const std::string& below) {
  for (const fs::directory_entry& entry : SortedEntries(local)) {
    OrRefuse([&] { WalkInto(target, entry, below); });
  }
}

void UploadPlan::WalkInto(TargetFolder& target, const fs::directory_entry& entry,
                          const std::string& below) {
  const std::string name = entry.path().filename().string();
  const std::string inner = below + name;
  const bool special = entry.is_symlink() || (!entry.is_directory() && !entry.is_regular_file());
  if (IsPartName(name) || !filter_.Takes(inner, !special && entry.is_directory())) return;
  if (special) {
    Note("put", entry.path().string() + ": left out, neither a file nor a folder");
  } else if (entry.is_directory()) {
    CheckName(Join(target.path, name));
    Walk(target.Inner(name), entry.path(), inner + "/");
  } else {
    Add(entry.path(), target, name);
  }
}

void UploadPlan::Add(const fs::path& local, TargetFolder& folder, const std::string& name) {
  CheckName(Join(folder.path, name));
  std::error_code error;
  const std::uint64_t size = fs::file_size(local, error);
  if (error) throw LocalFailure(local.string(), error.value());
  uploads_.push_back({local, std::nullopt, &folder, name, size});
}

void UploadPlan::MakeFolders(Storage storage, Crew& crew, Changes& changes) {
  MakeInner(existing_, false, {storage, crew, changes});
}

// In a folder that was missing nobody needs to look.
void UploadPlan::MakeInner(const TargetFolder& folder, bool missing, const FolderMaking& how) {
  for (const auto& named : folder.inner) {
    const TargetFolder& inner = named.second;
    how.crew.RunUncounted([this, missing, how, &folder, &inner]() mutable {
      missing = missing || !index_.LookupFolder(inner.path);
      MakeInner(inner, missing, how);
      if (!missing) return;
      const Entry made = how.storage.MakeFolder({"", folder.id, true, 0, {}}, inner.path);
      how.changes.Tell({"mkdir", inner.path, "", std::nullopt, made.id});
    });
  }
}

}  // namespace b2drive
