#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/mount/files/folder_contents.h"
#include "host/mount/files/folder_markers.h"
#include "host/mount/files/path_gate.h"
#include "host/mount/journal/move_journal.h"

namespace b2drive::mount {

// Renames of folders. The service has none, so each file in one moves by itself; programs of this
// mount that come to one of the two names meanwhile wait. A move that fails is undone, and one in
// which the mount is killed, or that cannot be undone, is finished by the next mount. Thread-safe.
class FolderMoves {
 public:
  // Moves one file, over another one if need be, and sees to nothing else. Throws FsError.
  using MoveFile = std::function<void(const std::string& from, const std::string& to)>;
  using Renamed = std::function<void()>;

  // All is borrowed. `most`: how many files and folders may move at once.
  struct Parts {
    DirectoryCache& directory;
    OpenFiles& files;
    FolderMarkers& markers;
    PathGate& gate;
    MoveJournal& journal;
    MoveFile move_file;
    MoveFile finish_file;  // what an earlier mount may have moved already, over nothing else
    std::size_t most;
  };
  explicit FolderMoves(Parts parts) : parts_(std::move(parts)) {}
  ~FolderMoves();  // what was resumed has ended
  FolderMoves(const FolderMoves&) = delete;
  FolderMoves& operator=(const FolderMoves&) = delete;

  // As rename(2) does. `renamed` is called before programs come to either name again. Throws
  // FsError, EXDEV for buckets and for folders that hold too much.
  void Move(const FolderMove& move, bool replace, const Renamed& renamed);

  // Finishes in the background what earlier mounts have begun. To be called once, before programs
  // come.
  void Resume();

 private:
  class Run;

  void RequirePossible(const FolderMove& move, bool replace);
  void Carry(const FolderMove& move);
  void Finish(const MoveJournal::Noted& noted) noexcept;

  const Parts parts_;
  std::vector<std::thread> resumed_;
};

}  // namespace b2drive::mount
