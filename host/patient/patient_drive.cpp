#include "host/patient/patient_drive.h"

#include <algorithm>
#include <cerrno>
#include <exception>

#include "host/common/fs_error.h"
#include "host/common/path.h"
#include "host/common/waiting.h"
#include "host/patient/diagnosis.h"
#include "host/patient/refusal_limit.h"
#include "host/plugin/answer_watch.h"
#include "host/plugin/file_cache.h"

namespace b2drive {
namespace {

// Hands the bytes of one attempt on.
class PieceSink final : public FetchSink {
 public:
  PieceSink(std::uint64_t start, std::uint64_t length, const RangeSink& sink,
            _FS_TRANSFER& transfer)
      : FetchSink(-1, static_cast<long long>(start), transfer),
        start_(start),
        length_(length),
        sink_(sink) {}

 protected:
  int Accept(long long at, const char* data, std::size_t count) override {
    auto position = static_cast<std::uint64_t>(at);
    if (at < 0 || position + count > length_) return EPROTO;
    return sink_(start_ + position, data, count);
  }

 private:
  const std::uint64_t start_;
  const std::uint64_t length_;
  const RangeSink& sink_;
};

// Tells the session's keeper, unless the scope is left by an exception.
class SuccessNote {
 public:
  SuccessNote(LiveSession& live, const std::shared_ptr<Session>& session)
      : live_(live), session_(session) {}
  ~SuccessNote() {
    if (std::uncaught_exceptions() == exceptions_) live_.NoteSuccess(session_);
  }
  SuccessNote(const SuccessNote&) = delete;
  SuccessNote& operator=(const SuccessNote&) = delete;

 private:
  LiveSession& live_;
  const std::shared_ptr<Session>& session_;
  const int exceptions_ = std::uncaught_exceptions();
};

// Notes what an upload that ends leaves behind.
void NoteUnfinished(UploadControl& control, bool stored, const ActiveTransfer& transfer) {
  const int begun = HostLog::LastAnswer().large_files_begun - (stored ? 1 : 0);
  if (begun <= 0) return;
  const auto sent = static_cast<std::uint64_t>(std::max<std::int64_t>(transfer.state().offset, 0));
  control.NoteUnfinished({begun, static_cast<std::uint64_t>(begun) * sent});
}

}  // namespace

// Waits or connects anew if that can help; otherwise throws.
void PatientDrive::WaitOrRenew(const HostError& error, const std::shared_ptr<Session>& session,
                               int& renewals, Attempts& attempts) {
  constexpr int kMostRenewals = 2;
  Diagnosis diagnosis = Diagnose(error, HostLog::LastAnswer());
  if (diagnosis.remedy == Remedy::kNewSession && session && renewals < kMostRenewals) {
    ++renewals;
    try {
      live_.Replace(session);
      return;
    } catch (const HostError& again) {
      diagnosis = Diagnose(again, HostLog::LastAnswer());
    }
  }
  if (diagnosis.remedy != Remedy::kWait || !attempts.WaitForNext()) {
    const bool lasting = diagnosis.remedy == Remedy::kNone && diagnosis.number == EIO;
    throw FsError(diagnosis.number, error.what(), lasting);
  }
}

template <typename Operation>
auto PatientDrive::Call(const std::string&, Attempts attempts, Operation operation) {
  AboutToWait();
  for (int renewals = 0;;) {
    std::shared_ptr<Session> session;
    try {
      session = live_.Current();
      const SuccessNote note(live_, session);
      return operation(session->drive(), attempts);
    } catch (const HostError& error) {
      WaitOrRenew(error, session, renewals, attempts);
    }
  }
}

Listing PatientDrive::List(const std::string& folder_id, const std::string& path) {
  return Call(path, {retries_, pauses_},
              [&](Drive& drive, Attempts&) { return drive.List(folder_id, path); });
}

void PatientDrive::Read(const RangeRequest& request, const RangeSink& sink) {
  std::uint64_t reached = request.offset;
  const std::uint64_t end = request.offset + request.length;
  int refused_by_sink = 0;
  RangeSink counting = [&](std::uint64_t offset, const char* data, std::size_t count) {
    refused_by_sink = sink(offset, data, count);
    if (refused_by_sink == 0) reached = offset + count;
    return refused_by_sink;
  };
  Call(request.path, {retries_, pauses_}, [&](Drive& drive, Attempts& attempts) {
    const std::uint64_t before = reached;
    ActiveTransfer transfer(transfers_, request.path);
    PieceSink piece(before, end - before, counting, transfer.state());
    try {
      drive.Read(request.file, request.path, before, end - before, piece, transfer);
    } catch (const HostError& error) {
      if (refused_by_sink != 0) throw FsError(refused_by_sink, error.what());
      if (!ranges_are_checked_) reached = before;  // nothing of it is known to be right
      if (reached == end) return;
      if (reached > before) attempts.Renew(retries_);
      throw;
    }
  });
}

Entry PatientDrive::Upload(const std::string& parent_id, const std::string& path, int fd,
                           std::uint64_t size, UploadControl& control, int retries) {
  const Attempts allowed(retries == kAllRetries ? retries_ : retries, pauses_);
  const std::string name(NameOf(path));
  return Call(path, allowed, [&](Drive& drive, Attempts&) {
    ActiveTransfer transfer(transfers_, path);
    FileCache contents(fd);
    const UploadControl::Attached attached(control, transfer);
    RefusalLimit limit(transfer, allowed);
    try {
      Entry stored = drive.Upload(parent_id, name, path, size, contents, transfer);
      NoteUnfinished(control, true, transfer);
      if (stored.size != size) throw FsError(EIO, path + ": the service stored another size");
      return stored;
    } catch (const HostError& error) {
      NoteUnfinished(control, false, transfer);
      if (control.given_up()) throw FsError(ECANCELED, error.what());
      if (contents.error_number() != 0) throw FsError(EIO, error.what());
      if (error.code() == AERROR::UPLOAD_CANCELED) throw FsError(EIO, error.what());
      // The service's only way to say that the account's storage limit is reached.
      if (HostLog::LastAnswer().status == 403) throw FsError(EDQUOT, error.what());
      throw;
    }
  });
}

bool PatientDrive::HasMarker(const std::string& folder_id, const std::string& path) {
  return Call(path, {retries_, pauses_},
              [&](Drive& drive, Attempts&) { return drive.HasMarker(folder_id, path); });
}

Entry PatientDrive::MakeMarker(const std::string& folder_id, const std::string& path) {
  // Not by the library's own call, which takes no handle and so could not be ended.
  UploadControl control;
  return Upload(folder_id, Join(path, kMarkerName), -1, 0, control, kAllRetries);
}

Entry PatientDrive::MakeBucket(const std::string& name, const std::string& path) {
  return Call(path, {retries_, pauses_},
              [&](Drive& drive, Attempts&) { return drive.MakeFolder("", name, path); });
}

void PatientDrive::DeleteBucket(const Entry& bucket, const std::string& path) {
  Call(path, {retries_, pauses_},
       [&](Drive& drive, Attempts&) { drive.DeleteFolder(bucket, path); });
}

void PatientDrive::DeleteFile(const Entry& file, const std::string& path,
                              const Finder& still_there) {
  Call(path, {retries_, pauses_}, [&](Drive& drive, Attempts&) {
    bool refused = false;
    std::optional<HostError> failure;
    try {
      AnswerWatch watch([&](const Answer& answer) { refused = refused || IsRefusal(answer); });
      drive.DeleteFile(file, path);
    } catch (const HostError& error) {
      failure = error;
    }
    if (!refused && !failure) return;
    const Answer answer = HostLog::LastAnswer();
    std::optional<Entry> left = still_there();
    if (!left) return;
    if (left->id != file.id) throw FsError(ESTALE, path + ": changed meanwhile by someone else");
    const bool gone = answer.status == 400 || answer.status == 404;  // one of several versions
    if (failure && Diagnose(*failure, answer).remedy == Remedy::kNone && !gone) {
      throw FsError(Diagnose(*failure, answer).number, failure->what());
    }
    throw HostError(ExitCode::kNetwork, path + ": not deleted yet", AERROR::TIMEDOUT);
  });
}

std::uint64_t PatientDrive::TotalBytes() {
  return Call("/", {0, pauses_}, [&](Drive& drive, Attempts&) { return drive.TotalBytes(); });
}

}  // namespace b2drive
