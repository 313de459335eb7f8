#include "host/patient/upload_attempt.h"

#include <algorithm>
#include <cerrno>

#include "host/common/fs_error.h"
#include "host/plugin/file_cache.h"
#include "host/plugin/service_failure.h"

namespace b2drive {
namespace {

void NoteUnfinished(UploadControl& control, bool stored, const ActiveTransfer& transfer) {
  const int begun = HostLog::LastAnswer().large_files_begun - (stored ? 1 : 0);
  if (begun <= 0) return;
  const auto sent = static_cast<std::uint64_t>(std::max<std::int64_t>(transfer.state().offset, 0));
  control.NoteUnfinished({begun, static_cast<std::uint64_t>(begun) * sent});
}

// An upload that was given up failed for what the service said last.
HostError Explain(const HostError& failure, const std::string& path, const RefusalLimit& limit,
                  const UploadControl& control) {
  if (!limit.last_straw()) return failure;
  const HostError refused = ServiceFailure(path, AERROR::FAILED, *limit.last_straw());
  const std::string rest = control.begun() ? std::string("; ") + kLeftover : "";
  return {refused.exit_code(), refused.what() + rest, refused.code()};
}

}  // namespace

Entry TryUpload(Drive& drive, const UploadSource& source, Transfers& transfers,
                UploadControl& control, const Attempts& allowed, Doubt doubt) {
  ActiveTransfer transfer(transfers, source.path);
  FileCache contents(source.fd, transfer);
  const UploadControl::Attached attached(control, transfer);
  RefusalLimit limit(transfer, control, allowed, doubt);
  try {
    Entry stored =
        drive.Upload(source.parent_id, source.name, source.path, source.size, contents, transfer);
    NoteUnfinished(control, true, transfer);
    if (stored.size == source.size) return stored;
    throw FsError(EIO, source.path + ": the service stored another size: " +
                           std::to_string(stored.size) + " bytes");
  } catch (const FsError&) {
    throw;
  } catch (const HostError& error) {
    NoteUnfinished(control, false, transfer);
    transfer.state().offset = 0;  // nothing of it is stored
    if (control.given_up()) throw FsError(ECANCELED, error);
    if (contents.error_number() != 0 || transfers.canceled()) throw FsError(EIO, error);
    if (limit.in_doubt()) {
      HostLog::NoteAnswer(*limit.last_straw());  // what followed is the plug-in's own giving up
      throw Explain(error, source.path, limit, control);
    }
    if (error.code() == AERROR::UPLOAD_CANCELED) {
      throw FsError(EIO, Explain(error, source.path, limit, control));
    }
    // The service's only way to say that the account's storage limit is reached.
    if (HostLog::LastAnswer().status == 403) throw FsError(EDQUOT, error);
    throw;
  }
}

}  // namespace b2drive
