#include "host/commands/deletion.h"

#include <algorithm>

#include "host/commands/commands.h"
#include "host/common/errors.h"
#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"
#include "host/transfer/remote_tree.h"

namespace b2drive::cli {
namespace {

// The first few paths, and how many there are beyond.
std::string Summary(const std::vector<Victim>& victims) {
  constexpr std::size_t kShown = 3;
  std::string text;
  for (std::size_t i = 0; i < victims.size() && i < kShown; ++i) {
    text += (i > 0 ? ", " : "") + victims[i].path;
  }
  if (victims.size() > kShown) text += " and " + std::to_string(victims.size() - kShown) + " more";
  return text;
}

}  // namespace

void CheckDeletable(const PathArgument& argument) {
  if (IsRoot(argument.path)) throw HostError(ExitCode::kUsage, "/", "the root cannot be deleted");
  if (!argument.ambiguous) return;
  throw HostError(ExitCode::kUsage, argument.path,
                  "several slashes in a row are another name to the service; nothing was "
                  "deleted");
}

void Count(PatientDrive& drive, const Victim& victim, const Filter& filter, Amount& amount) {
  const bool all = filter.empty() || !victim.entry.folder;
  if (all) ++amount.items;
  if (!victim.entry.folder) return;
  WalkRemoteTree(drive, victim.entry, victim.path, filter, [&](const RemoteItem& item) {
    if (all || !item.entry.folder) ++amount.items;
    // The plug-in's identifiers cannot tell a//b from a///b.
    if (item.entry.folder && item.entry.name.empty()) amount.at_least = true;
  });
}

void ConfirmDeletion(const std::vector<Victim>& victims, const Amount& count, bool yes,
                     PathIndex& index) {
  if (yes || count.items <= 1) return;
  std::string summary = Summary(victims);
  std::string amount =
      (count.at_least ? "at least " : "") + std::to_string(count.items) + " files and folders";
  if (!StdinIsTerminal()) {
    throw HostError(ExitCode::kNotConfirmed, summary + ": nothing was deleted: this is about " +
                                                 amount + " and nobody can be asked; use --yes");
  }
  if (!Confirm(EscapeControls("Delete " + summary + ": " + amount + ", in all versions?"))) {
    throw HostError(ExitCode::kNotConfirmed, summary + ": not confirmed, nothing was deleted");
  }
  index.ForgetAll();
}

void DeleteFolder(PatientDrive& drive, const Victim& victim) {
  CallForBucket(victim.path,
                "a bucket can hold hidden files or unfinished large files that no listing shows",
                [&] {
                  if (IsBucket(victim.path)) return drive.DeleteBucket(victim.entry, victim.path);
                  drive.DeleteFolder(victim.entry, victim.path);
                });
}

std::vector<std::string> LongerNames(PathIndex& index, const std::string& path) {
  const std::string name = NameOf(path);
  std::vector<std::string> names;
  for (const Entry& entry : index.BeginningWith(ParentOf(path), name)) {
    const bool same_file = !entry.folder && entry.name == name;
    if (!same_file) names.push_back(entry.name + (entry.folder ? "/" : ""));
  }
  return names;
}

}  // namespace b2drive::cli
