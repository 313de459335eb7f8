#include "host/commands/get_tree.h"

#include "host/commands/tree_progress.h"
#include "host/common/path.h"

namespace b2drive::cli {

ExitCode GetTree(Context& context, const RemoteFile& folder, const std::string& local,
                 const TreeDownloadOptions& how, const Filter& filter) {
  if (IsRoot(folder.path)) {
    throw HostError(ExitCode::kWrongKind, "/", "holds buckets only; name one: /BUCKET/...");
  }
  const std::filesystem::path target = local.empty() ? "." : local;
  std::error_code ignored;
  const bool into = std::filesystem::is_directory(target, ignored);
  const std::string name = NameOf(folder.path);
  const LocalFolders folders(target);
  context.changes().Expect();
  ProgressBar bar(context.transfers(), name, 0, 0);
  TreeDownload download(context.drive(), context.transfers(), folders, filter, how, MeasuredBy(bar),
                        context.changes());
  const ExitCode code = download.Run(folder, into ? name : "");
  folders.Secure();
  return code;
}

}  // namespace b2drive::cli
