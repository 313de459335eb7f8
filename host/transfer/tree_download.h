#pragma once

#include <set>
#include <string>

#include "host/local/local_folders.h"
#include "host/terminal/changes.h"
#include "host/transfer/crew.h"
#include "host/transfer/download.h"
#include "host/transfer/filter.h"
#include "host/transfer/remote_tree.h"
#include "host/transfer/tree_watch.h"

namespace b2drive {

struct TreeDownloadOptions {
  std::size_t jobs = 16;        // files at the same time
  std::size_t connections = 8;  // for each that is large
  bool verify = true;           // see DownloadOptions
};

// Fetches what is in a folder or bucket, beginning while it is still being listed. What this system
// cannot hold is refused, each with a line; of a file and a folder with one name the one that was
// listed first wins. For one use.
class TreeDownload {
 public:
  // All must outlive the object. Nothing outside of `local` is written.
  TreeDownload(PatientDrive& drive, const Transfers& transfers, const LocalFolders& local,
               const Filter& filter, const TreeDownloadOptions& options, TreeWatch watch,
               Changes& changes);

  // Puts what the filter takes in `folder` into the folder `below` of the local one: names with
  // slashes between them, or none. kPartly when something failed; throws as Crew::Finish.
  ExitCode Run(const RemoteFile& folder, const std::string& below);

 private:
  struct Place {
    std::string path;   // on the drive
    std::string local;  // in the local folder
  };

  void Visit(const RemoteItem& item, const Place& place);
  void Admit(const RemoteItem& item, const Place& place);
  const char* WhyNot(const RemoteItem& item, const std::string& local);
  void Fetch(const Entry& entry, const Place& place) const;

  PatientDrive& drive_;
  const Transfers& transfers_;
  const LocalFolders& local_;
  const Filter& filter_;
  const TreeDownloadOptions options_;
  const TreeWatch watch_;
  Changes& changes_;
  std::set<std::string> taken_;                 // names in the tree that something has
  std::set<std::string, std::less<>> refused_;  // folders whose contents are left out
  Crew crew_;
};

}  // namespace b2drive
