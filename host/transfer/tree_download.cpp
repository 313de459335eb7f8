#include "host/transfer/tree_download.h"

#include <climits>

#include "host/common/path.h"

namespace b2drive {
namespace {

std::string Below(const std::string& folder, const std::string& names) {
  return folder.empty() || names.empty() ? folder + names : folder + "/" + names;
}

}  // namespace

TreeDownload::TreeDownload(PatientDrive& drive, const Transfers& transfers,
                           const LocalFolders& local, const Filter& filter,
                           const TreeDownloadOptions& options, TreeWatch watch, Changes& changes)
    : drive_(drive),
      transfers_(transfers),
      local_(local),
      filter_(filter),
      options_(options),
      watch_(std::move(watch)),
      changes_(changes),
      crew_(transfers, "get", "files were fetched", 0, options.jobs) {}

ExitCode TreeDownload::Run(const RemoteFile& folder, const std::string& below) {
  local_.Open(below);
  try {
    WalkRemoteTree(drive_, folder.entry, folder.path, filter_, [&](const RemoteItem& item) {
      Visit(item, {folder.path + "/" + item.path, Below(below, item.path)});
    });
  } catch (const HostError& error) {
    crew_.Fail(error);
  }
  return crew_.Finish();
}

void TreeDownload::Visit(const RemoteItem& item, const Place& place) {
  if (transfers_.canceled()) throw Interrupted(place.path);
  // Of what is in a refused folder nothing is said.
  bool refused = refused_.contains(FolderIn(item.path));
  try {
    if (!refused) Admit(item, place);
  } catch (const HostError& error) {
    crew_.Expect(1);
    crew_.Fail(error);
    refused = true;
  }
  if (item.entry.folder) {
    if (refused && !item.entry.name.empty()) refused_.insert(item.path);
  } else if (!refused) {
    crew_.Expect(1);
    watch_.found(item.entry.size);
    crew_.Run([this, entry = item.entry, place] { Fetch(entry, place); });
  }
}

// Throws what keeps the item from being here. Folders are made at once.
void TreeDownload::Admit(const RemoteItem& item, const Place& place) {
  if (const char* const why = WhyNot(item, place.local)) {
    throw HostError(ExitCode::kLocalFile, place.path, why);
  }
  if (item.entry.folder) local_.Open(place.local);
}

const char* TreeDownload::WhyNot(const RemoteItem& item, const std::string& local) {
  if (const char* const why = WhyNoName(item.entry.name)) return why;
  if (local_.PathOf(local).native().size() >= PATH_MAX) return "the path is too long here";
  if (!taken_.insert(item.path).second) {
    return item.entry.folder ? "a file has the same name" : "a folder has the same name";
  }
  return nullptr;
}

void TreeDownload::Fetch(const Entry& entry, const Place& place) const {
  const std::shared_ptr<void> in_work = watch_.begins(entry.name);
  const std::string_view above = FolderIn(place.local);
  const UniqueFd folder = local_.Open(above);
  DownloadOptions options;
  options.connections = options_.connections;
  options.verify = options_.verify;
  options.part_name = PartName::kHidden;
  const LocalTarget target(folder.get(), entry.name, local_.PathOf(above));
  FileDownload(drive_, {entry, place.path}, target, options).Run();
  changes_.Tell({"get", place.path, local_.PathOf(place.local), entry.size, entry.id});
}

}  // namespace b2drive
