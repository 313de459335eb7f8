#include "host/commands/deletion.h"

#include <algorithm>

#include "host/commands/commands.h"
#include "host/common/errors.h"
#include "host/common/name_rules.h"
#include "host/terminal/report.h"
#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"
#include "host/transfer/remote_tree.h"
#include "host/transfer/versions.h"

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

const char* Done(Deed deed) {
  if (deed == Deed::kCancel) return "canceled";
  return deed == Deed::kHide ? "hidden" : "deleted";
}

// Whether a single folder is to go whole, in which listings show nothing.
bool LooksEmpty(const std::vector<Victim>& victims, const Amount& amount, const Filter& filter) {
  return amount.items == 1 && filter.empty() && victims.front().entry.folder &&
         !IsBucket(victims.front().path);
}

// "at least 4 files and folders".
std::string Text(const Amount& amount, Deed deed) {
  const std::string count = (amount.at_least ? "at least " : "") + std::to_string(amount.items);
  if (deed == Deed::kCancel) {
    return count +
           (amount.items == 1 ? " upload that may still run" : " uploads that may still run");
  }
  if (amount.unseen) return "a folder with hidden or unfinished files";
  return count + " files and folders";
}

std::string Question(const std::string& summary, const Amount& amount, Deed deed) {
  const std::string about = summary + ": " + Text(amount, deed);
  if (deed == Deed::kCancel) return "Cancel " + about + "?";
  if (deed == Deed::kHide) return "Hide " + about + "?";
  return "Delete " + about + ", in all " +
         (amount.versions > 0 ? std::to_string(amount.versions) + " versions?" : "versions?");
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

// Folders first: a look at one name narrows what the view shows.
void CountVersions(Context& context, const std::vector<Victim>& victims, const Filter& filter,
                   Amount& amount) {
  const ViewedDrive view = context.Open(View::kVersions);
  for (const auto& [path, entry] : victims) {
    if (!entry.folder) continue;
    WalkRemoteTree(*view.drive, entry, path, filter, [&](const RemoteItem& item) {
      if (!item.entry.folder && item.entry.name != kMarkerName) ++amount.versions;
    });
  }
  if (LooksEmpty(victims, amount, filter)) {
    const auto& [path, entry] = victims.front();
    amount.unseen = amount.versions > 0 ||
                    !context.Open(View::kUnfinished).drive->ListNamed(entry.id, "", path).empty();
  }
  for (const auto& [path, entry] : victims) {
    if (!entry.folder) amount.versions += VersionsOf(*view.drive, context.index(), path).size();
  }
}

void ConfirmDeletion(const std::vector<Victim>& victims, const Amount& amount, bool yes,
                     PathIndex& index, Deed deed) {
  const bool asked = amount.items > 1 || amount.unseen;
  if (!yes && !asked && amount.versions > 1) {
    Note("", victims.front().path + ": all its " + std::to_string(amount.versions) +
                 " versions are deleted");
  }
  if (yes || !asked) return;
  const std::string summary = Summary(victims);
  if (!StdinIsTerminal()) {
    throw HostError(ExitCode::kNotConfirmed, summary + ": nothing was " + Done(deed) +
                                                 ": this is about " + Text(amount, deed) +
                                                 " and nobody can be asked; use --yes");
  }
  if (!Confirm(EscapeControls(Question(summary, amount, deed)))) {
    throw HostError(ExitCode::kNotConfirmed,
                    summary + ": not confirmed, nothing was " + Done(deed));
  }
  index.ForgetAll();
}

void DeleteFolder(PatientDrive& drive, const Victim& victim) {
  CallForBucket(victim.path,
                "a bucket can hold hidden or unfinished files, which versions and unfinished show",
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
