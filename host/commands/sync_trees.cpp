#include "host/commands/sync_trees.h"

#include <cerrno>
#include <system_error>

#include "host/common/name_rules.h"
#include "host/local/local_folders.h"
#include "host/terminal/report.h"

namespace b2drive::cli {
namespace {

namespace fs = std::filesystem;

std::string DrivePath(const Context& context, const SyncOptions& options) {
  const PathArgument argument(options.path);
  const std::string& path = argument.path;
  if (IsRoot(path)) {
    throw HostError(ExitCode::kWrongKind, path, "holds buckets only; name one: /BUCKET/...");
  }
  if (argument.ambiguous) {
    throw HostError(ExitCode::kUsage, path,
                    "several slashes in a row are another name to the service");
  }
  const bool exact = context.uses_shipped_plugin() || options.exact_delete_supported;
  if (options.up() && options.delete_others && !exact) {
    throw HostError(ExitCode::kWouldDeleteMore, path,
                    "this plug-in could delete other names too; if it deletes exactly, say "
                    "--exact-delete-supported");
  }
  return path;
}

// A folder that is missing comes to be with what is stored in it. Its bucket must be there.
Entry FolderToBe(PathIndex& index, const std::string& path) {
  for (std::string at = path; !IsBucket(at); at = ParentOf(at)) CheckName(at);
  const std::string bucket = "/" + NamesOf(path).front();
  return {NameOf(path), index.FindFolder(bucket).id + path.substr(bucket.size()), true, 0, {}};
}

Entry FindDriveFolder(PathIndex& index, const SyncOptions& options, const std::string& path) {
  const bool missing = options.up() && !IsBucket(path) && !index.Lookup(path);
  return missing ? FolderToBe(index, path) : index.FindFolder(path);
}

// Names below it are put behind a slash.
fs::path WithoutLastSlash(const fs::path& path) {
  std::string text = path.native();
  while (text.size() > 1 && text.ends_with('/')) text.pop_back();
  return text;
}

void FindLocalFolder(const SyncOptions& options, SyncTrees& trees) {
  std::error_code error;
  trees.local_root = WithoutLastSlash(options.local);
  trees.local_exists = fs::exists(trees.local_root, error);
  if (error) throw LocalFailure(options.local, error.value());
  if (trees.local_exists) return;
  const bool can_be_made = fs::is_directory(fs::absolute(trees.local_root).parent_path(), error);
  if (options.up() || !can_be_made) throw LocalFailure(options.local, ENOENT);
  if (options.dry_run) return;
  const LocalFolders made(trees.local_root);
  trees.local_exists = true;
}

}  // namespace

SyncTrees FindSyncFolders(Context& context, const SyncOptions& options) {
  SyncTrees trees;
  trees.path = DrivePath(context, options);
  if (options.up()) FindLocalFolder(options, trees);
  trees.folder = FindDriveFolder(context.index(), options, trees.path);
  if (!options.up()) FindLocalFolder(options, trees);
  return trees;
}

void ReadSyncTrees(Context& context, const SyncOptions& options, SyncTrees& trees) {
  if (trees.local_exists) trees.local = ReadLocalTree(trees.local_root, options.filter);
  for (const HostError& failure : trees.local.failures) Report(options.command(), failure);
  trees.remote = ReadRemoteTree(context.drive(), trees.folder, trees.path, options.filter);
}

}  // namespace b2drive::cli
