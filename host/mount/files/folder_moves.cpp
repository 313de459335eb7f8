#include "host/mount/files/folder_moves.h"

#include <algorithm>
#include <cerrno>
#include <exception>

#include "host/common/fs_error.h"
#include "host/common/path.h"
#include "host/common/workers.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace {

constexpr std::size_t kAtOnce = 16;

using Names = std::vector<std::string>;

// Does `act` with each, many at once, and none any more after a failure, which it throws.
void ForEach(const Names& names, const std::function<void(const std::string&)>& act) {
  Mutex mutex;
  std::exception_ptr failure;
  Workers workers(kAtOnce);
  for (const std::string& name : names) {
    workers.Run([&] {
      {
        const Lock lock(mutex);
        if (failure) return;
      }
      try {
        act(name);
      } catch (...) {
        const Lock lock(mutex);
        if (!failure) failure = std::current_exception();
      }
    });
  }
  workers.Finish();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace

// One move, and what of it is done.
class FolderMoves::Run {
 public:
  Run(const Parts& parts, const FolderMove& move, const MoveFile& move_file)
      : parts_(parts), move_(move), move_file_(move_file) {}

  void Do(const FolderContents& contents) {
    ForEach(contents.folders, [this](const std::string& folder) {
      if (!parts_.markers.HasMarker(move_.from + folder)) return;
      parts_.markers.Make(move_.to + folder);
      parts_.directory.Forget(move_.to + folder);  // others may have stored something there
      Add(marked_, folder);
    });
    ForEach(contents.files, [this](const std::string& file) {
      move_file_(move_.from + file, move_.to + file);
      Add(moved_, file);
    });
    ForEach(marked_,
            [this](const std::string& folder) { parts_.markers.Remove(move_.from + folder); });
    Show(contents.folders);
  }

  // Throws when something stays under its new name.
  void Undo(const FolderContents& contents) {
    ForEach(marked_, [this](const std::string& folder) {
      if (!parts_.markers.HasMarker(move_.from + folder)) parts_.markers.Make(move_.from + folder);
    });
    ForEach(moved_, [this](const std::string& file) {
      parts_.move_file(move_.to + file, move_.from + file);
    });
    ForEach(marked_,
            [this](const std::string& folder) { parts_.markers.Remove(move_.to + folder); });
    Show(contents.folders);
  }

 private:
  void Add(Names& names, const std::string& name) {
    const Lock lock(mutex_);
    names.push_back(name);
  }

  // Listings of both are read anew.
  void Show(const Names& folders) {
    for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
      parts_.directory.Forget(move_.from + *folder);
      parts_.directory.Forget(move_.to + *folder);
    }
    parts_.directory.Forget(ParentOf(move_.from));
    parts_.directory.Forget(ParentOf(move_.to));
  }

  const Parts& parts_;
  const FolderMove move_;
  const MoveFile& move_file_;
  Mutex mutex_;
  Names marked_;  // folders with markers
  Names moved_;   // files
};

FolderMoves::~FolderMoves() {
  for (std::thread& thread : resumed_) thread.join();
}

void FolderMoves::RequirePossible(const FolderMove& move, bool replace) {
  if (IsBucket(move.from)) throw FsError(EXDEV, move.from + ": a bucket keeps its name");
  if (IsBucket(move.to)) throw FsError(EXDEV, move.to + ": would be a bucket");
  if (IsAtOrBelow(move.to, move.from)) throw FsError(EINVAL, move.to + ": is in that folder");
  parts_.directory.Forget(ParentOf(move.to));
  parts_.directory.Forget(move.to);
  const auto there = parts_.directory.Find(move.to);
  const bool open = parts_.files.Find(move.to) != nullptr;
  if ((there || open) && !replace) throw FsError(EEXIST, move.to + ": exists");
  if (open || (there && !there->folder)) throw FsError(ENOTDIR, move.to + ": is a file");
  if (!there) return;
  const FolderContents held =
      ReadFolderContents(parts_.directory, parts_.files, move.to, parts_.most);
  if (held.files.size() + held.folders.size() > 1) {
    throw FsError(ENOTEMPTY, move.to + ": not empty");
  }
}

void FolderMoves::Move(const FolderMove& move, bool replace, const Renamed& renamed) {
  const PathGate::Closure closure(parts_.gate, move.from, move.to);
  RequirePossible(move, replace);
  Carry(move);
  renamed();
  parts_.markers.KeepIfEmptied(ParentOf(move.from));
}

void FolderMoves::Carry(const FolderMove& move) {
  const FolderContents contents =
      ReadFolderContents(parts_.directory, parts_.files, move.from, parts_.most);
  if (contents.files.empty() && contents.folders.size() == 1 &&
      !parts_.markers.HasMarker(move.from)) {
    throw FsError(ENOENT, move.from + ": was removed meanwhile");
  }
  parts_.markers.KeepParentOf(move.from);
  const std::filesystem::path noted = parts_.journal.Note(move);
  Run run(parts_, move, parts_.move_file);
  std::exception_ptr failure;
  try {
    run.Do(contents);
  } catch (const std::exception&) {
    failure = std::current_exception();
    try {
      run.Undo(contents);
    } catch (const std::exception& error) {
      Notice(move.from + ": moved to " + move.to +
             " in part; the next mount finishes it: " + error.what());
      throw;
    }
  }
  try {
    parts_.journal.Remove(noted);
  } catch (const FsError& error) {
    Notice(error.what());  // a move that is done is done once more, over nothing
  }
  if (failure) std::rethrow_exception(failure);
}

void FolderMoves::Resume() {
  for (MoveJournal::Noted& noted : parts_.journal.Find()) {
    Notice(noted.move.from + ": an earlier mount began to move it to " + noted.move.to +
           ", and this one finishes that");
    auto closure = std::make_unique<PathGate::Closure>(parts_.gate, noted.move.from, noted.move.to);
    resumed_.emplace_back(
        [this, noted = std::move(noted), closure = std::move(closure)] { Finish(noted); });
  }
}

void FolderMoves::Finish(const MoveJournal::Noted& noted) noexcept {
  try {
    const std::size_t all = SIZE_MAX;
    Run(parts_, noted.move, parts_.finish_file)
        .Do(ReadFolderContents(parts_.directory, parts_.files, noted.move.from, all));
    parts_.journal.Remove(noted.file);
  } catch (const std::exception& error) {
    Notice(noted.move.from + ": not moved yet, the next mount tries again: " + error.what());
  }
}

}  // namespace b2drive::mount
