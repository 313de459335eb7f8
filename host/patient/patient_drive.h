#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/common/fs_error.h"
#include "host/common/retry.h"
#include "host/patient/live_session.h"
#include "host/patient/upload_attempt.h"
#include "host/patient/upload_control.h"
#include "host/plugin/drive.h"

namespace b2drive {

// One range of a file that is to be read.
struct RangeRequest {
  Entry file;
  std::string path;
  std::uint64_t offset = 0;  // bytes
  std::uint64_t length = 0;  // at least 1
};

// Takes `count` bytes of the file from `offset` on; 0 or an errno, which ends the read. Offsets
// ascend, but the bytes after a broken piece may come twice.
using RangeSink = std::function<int(std::uint64_t offset, const char* data, std::size_t count)>;

// For `retries`: as many as the drive grants each call.
inline constexpr int kAllRetries = -1;

struct Patience {
  int retries = 0;  // of a call
  // Whether the plug-in knows the options that a session sets. It then delivers no byte before it
  // knows that the answer is the range that was asked for, where others tell at the end of a read,
  // and bounds by itself how often it repeats parts.
  bool options_are_known = true;
  Attempts::Teller tell;  // of each wait, from any thread
};

// The drive's operations with a session that is kept alive and with repetition of what may be
// repeated. An answer that was lost is no reason to do something twice: it is looked whether it is
// done. All throw FsError, when `transfers` are canceled kInterrupted. `path` is for messages only.
// Any number of threads may call.
class PatientDrive {
 public:
  PatientDrive(LiveSession& live, Transfers& transfers, Patience patience)
      : live_(live), transfers_(transfers), patience_(std::move(patience)) {}

  bool ranges_are_checked() const { return patience_.options_are_known; }

  // Gives what an item is now; none when it is not there.
  using Finder = std::function<std::optional<Entry>()>;

  // Gives the session in use, made if need be.
  std::shared_ptr<Session> SignIn();

  Listing List(const std::string& folder_id, const std::string& path);
  // The same as it comes; what the receiver throws is thrown here, too.
  void List(const std::string& folder_id, const std::string& path, ListingReceiver& receiver);

  // Delivers the range piece by piece, after a failure from the byte reached.
  void Read(const RangeRequest& request, const RangeSink& sink);

  // Stores the contents under `path`, whose last name they take. What a large one leaves behind
  // when it is repeated or fails is noted in `control`. Before it is repeated, `find_stored`, if
  // any, gives the entry that holds these bytes after all.
  Entry Upload(const std::string& parent_id, const std::string& path,
               const UploadContents& contents, UploadControl& control, int retries,
               const Finder& find_stored = {});

  bool finds_by_name() const { return patience_.options_are_known; }
  // The file at `path`, by one small request. Only if finds_by_name().
  std::optional<Entry> Find(const std::string& folder_id, const std::string& path);

  // Whether the folder would stay without its files.
  bool HasMarker(const std::string& folder_id, const std::string& path);
  // Makes the folder's marker object and gives its entry; none when it was found to be there after
  // an answer that was lost.
  std::optional<Entry> MakeMarker(const std::string& folder_id, const std::string& path,
                                  UploadControl& control);
  // Writes the marker once more: no listing shows it, and this gives its identifier.
  Entry RewriteMarker(const std::string& folder_id, const std::string& path,
                      UploadControl& control);

  Entry MakeBucket(const std::string& name, const std::string& path);
  void DeleteBucket(const Entry& bucket, const std::string& path);
  // Deletes everything in a folder, hidden files too.
  void DeleteFolder(const Entry& folder, const std::string& path);

  // Deletes every version of exactly this file; ESTALE when `file` is not the latest one any more.
  // What the library counts as deleted is believed only when nothing went wrong on the way; else
  // `still_there` looks, and gives the entry that is left.
  void DeleteFile(const Entry& file, const std::string& path, const Finder& still_there);

  // Copies a file on the service to `path` in the folder `folder_id`. Before it is repeated,
  // `find_copied` gives what stands there, which may be the copy after all. kDamaged when the
  // service's answer tells of other bytes.
  Entry Copy(const Entry& file, const std::string& folder_id, const std::string& path,
             const Finder& find_copied);

  // The following are for a drive of another view. Deletes just this entry; false as Drive's,
  // unless an earlier try, whose answer was lost, may have done it.
  bool DeleteVersion(const Entry& version, const std::string& path);
  // What a folder shows of one last name; empty: all. For a drive of one thread.
  Listing ListNamed(const std::string& folder_id, const std::string& name, const std::string& path);

  std::uint64_t TotalBytes();

 private:
  template <typename Operation>
  auto Call(const std::string& path, Attempts attempts, Operation operation);
  Entry Send(const UploadSource& source, UploadControl& control, int retries,
             const Finder& find_stored);
  Entry SendMarker(const std::string& folder_id, const std::string& path, UploadControl& control,
                   const Finder& find_stored);
  Attempts Allowed(const std::string& path, int retries = kAllRetries);
  void WaitOrRenew(const std::string& path, const HostError& error,
                   const std::shared_ptr<Session>& session, int& renewals, Attempts& attempts);

  LiveSession& live_;
  Transfers& transfers_;
  const Patience patience_;
};

}  // namespace b2drive
