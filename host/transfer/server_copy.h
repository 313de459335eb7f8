#pragma once

#include <string>

#include "host/plugin/path_index.h"
#include "host/terminal/changes.h"
#include "host/transfer/crew.h"
#include "host/transfer/remote_tree.h"
#include "host/transfer/storage.h"
#include "host/transfer/tree_watch.h"

namespace b2drive {

// Copies and moves on the service: no byte goes through this machine. The session must ask for
// details. All throw HostError. Any number of threads may call.
class ServerCopy {
 public:
  // All is borrowed. With `move` what is copied is deleted, in all versions, once its copy is
  // there.
  ServerCopy(PatientDrive& drive, PathIndex& index, Changes& changes, bool move)
      : drive_(drive), index_(index), changes_(changes), move_(move) {}

  // `file`, which is at `path`, gets the path `target` and is the newest version there.
  void File(const Entry& file, const std::string& path, const std::string& target);

  // The same for everything visible in a folder, several at once, and for the markers that keep
  // empty folders. kPartly when something failed; what is done stays, and a further call goes on.
  // Throws as Crew::Finish.
  ExitCode Folder(const Transfers& transfers, const Entry& folder, const std::string& path,
                  const std::string& target, const TreeWatch& watch);

  const char* name() const { return move_ ? "mv" : "cp"; }

 private:
  Entry Copy(const Entry& file, const std::string& target);
  void Marker(const Entry& folder, const std::string& path, const std::string& target);

  PatientDrive& drive_;
  PathIndex& index_;
  Changes& changes_;
  const bool move_;
};

}  // namespace b2drive
