#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/patient/patient_drive.h"
#include "host/plugin/body_log.h"
#include "host/plugin/host_log.h"
#include "host/plugin/path_index.h"
#include "host/plugin/profiles.h"
#include "host/plugin/transfers.h"
#include "host/terminal/changes.h"
#include "host/transfer/storage.h"

namespace b2drive::cli {

// Options that every command takes.
struct GlobalOptions {
  int verbosity = 0;  // 1: changes and waits, 2: the plug-in's log lines too
  bool json = false;
  bool quiet = false;
  std::string progress = "auto";     // or none or json
  std::string plugin;                // empty: the one shipped with the program
  std::optional<std::string> proxy;  // else the environment's
  std::int64_t limit = 0;            // bytes a second of all transfers together; 0: none
  std::string log_bodies;
  std::string ca_file;                 // else SSL_CERT_FILE's
  std::optional<std::string> profile;  // else the environment's account, else its profile
  int retries = 10;                    // of a call that failed for a passing reason
};

// The drive in another view, with a session of its own.
struct ViewedDrive {
  std::unique_ptr<LiveSession> live;
  std::unique_ptr<PatientDrive> drive;
};

// What a command works with; made when first asked for, so that a command which needs no plug-in or
// no account works without.
class Context {
 public:
  Context(GlobalOptions options, Transfers& transfers);

  PluginLibrary& library();
  PatientDrive& drive();
  // The account, asked for when first needed.
  const Account& account();
  // The same; none rather than to ask.
  std::optional<FoundAccount> StoredAccount() const;
  // To be used in place of the stored one; before anything connects.
  void SetAccount(FoundAccount found);
  // "the environment", "profile work", "the terminal".
  const std::string& account_source() const { return account_->source; }
  // The profile that the options or the environment name, or the default one.
  std::string profile() const { return ChosenProfile(options_.profile); }
  std::optional<_PROXYINFO> proxy() const;
  // One more session, of the caller's own. Any thread may call once `library` was.
  std::unique_ptr<Session> Connect(View view = View::kFiles);
  // Throws kNoPlugin for another plug-in than the program's own. One that does not know the options
  // would take a version for the file, and move or delete what it is to copy or hide.
  void RequireOwnPlugin() const;
  // Throws so, too.
  ViewedDrive Open(View view);
  // Deleting hides names; before anything connects. Throws as Open does.
  void HideOnDelete();
  // Certificates that are trusted besides the bundle's, a whole path: a mount leaves the folder
  // that it was started in. Empty: none.
  const std::string& ca_file() const { return ca_file_; }
  // Throws unless they can be read, if there are any.
  void RequireCaFile() const;
  // At the same time for one large file; before anything connects.
  void SetUploadConnections(int connections) { upload_connections_ = connections; }
  // Entries tell what is stored with files; before anything connects.
  void WantDetails() { details_ = true; }
  PathIndex& index();
  Storage storage() { return Storage(drive()); }
  // Whether a program reads what is printed.
  bool json() const { return options_.json; }
  std::int64_t limit() const { return options_.limit; }
  Transfers& transfers() { return transfers_; }
  // Where a command tells what it changes.
  Changes& changes() { return changes_; }

  // Whether the plug-in is the one made together with this program.
  bool uses_shipped_plugin() const { return options_.plugin.empty(); }

  // Ends the connection; to be called by the thread that used it.
  void EndSession();

 private:
  Patience ThePatience() const;

  const GlobalOptions options_;
  const std::string ca_file_;
  Transfers& transfers_;
  bool details_ = false;
  bool hide_ = false;
  int upload_connections_ = SessionOptions().upload_connections;
  Changes changes_;
  // In the order of their dependence.
  std::optional<BodyLog> bodies_;
  std::unique_ptr<HostLog> log_;
  std::unique_ptr<PluginLibrary> library_;
  std::optional<FoundAccount> account_;
  std::unique_ptr<LiveSession> live_;
  std::unique_ptr<PatientDrive> drive_;
  std::unique_ptr<PathIndex> index_;
};

}  // namespace b2drive::cli
