#include "host/patient/patient_drive.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <utility>

#include "host/common/fs_error.h"
#include "host/common/path.h"
#include "host/common/waiting.h"
#include "host/patient/diagnosis.h"
#include "host/plugin/answer_watch.h"

namespace b2drive {
namespace {

// Hands the bytes of one attempt on.
class PieceSink final : public FetchSink {
 public:
  PieceSink(std::uint64_t start, std::uint64_t length, const RangeSink& sink,
            const ActiveTransfer& transfer)
      : FetchSink(static_cast<long long>(start), transfer),
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

std::optional<Entry> FindBucket(Drive& drive, const std::string& name) {
  const Listing buckets = drive.List("", "/");
  const auto found = std::ranges::find(buckets, name, &Entry::name);
  return found != buckets.end() ? std::optional(*found) : std::nullopt;
}

}  // namespace

Attempts PatientDrive::Allowed(const std::string& path, int retries) {
  Attempts::Teller tell;
  if (patience_.tell)
    tell = [this, path](const std::string& text) { patience_.tell(path + ": " + text); };
  return {retries == kAllRetries ? patience_.retries : retries, transfers_.pauses(), tell};
}

// Waits or connects anew if that can help; otherwise throws.
void PatientDrive::WaitOrRenew(const std::string& path, const HostError& error,
                               const std::shared_ptr<Session>& session, int& renewals,
                               Attempts& attempts) {
  constexpr int kMostRenewals = 2;
  Diagnosis diagnosis = Diagnose(error, HostLog::LastAnswer());
  std::string reason = ReasonOf(error, HostLog::LastAnswer());
  if (diagnosis.remedy == Remedy::kNewSession && session && renewals < kMostRenewals) {
    ++renewals;
    try {
      live_.Replace(session);
      return;
    } catch (const HostError& again) {
      diagnosis = Diagnose(again, HostLog::LastAnswer());
      reason = ReasonOf(again, HostLog::LastAnswer());
    }
  }
  if (diagnosis.remedy == Remedy::kWait && attempts.WaitForNext(reason)) return;
  if (transfers_.canceled()) throw FsError(diagnosis.number, Interrupted(path));
  throw FsError(diagnosis.number, error, diagnosis.lasting);
}

template <typename Operation>
auto PatientDrive::Call(const std::string& path, Attempts attempts, Operation operation) {
  AboutToWait();
  for (int renewals = 0;;) {
    std::shared_ptr<Session> session;
    try {
      session = live_.Current();
      const SuccessNote note(live_, session);
      return operation(session->drive(), attempts);
    } catch (const FsError&) {
      throw;
    } catch (const HostError& error) {
      WaitOrRenew(path, error, session, renewals, attempts);
    }
  }
}

std::shared_ptr<Session> PatientDrive::SignIn() {
  const std::string subject = "sign in";
  return Call(subject, Allowed(subject), [this](Drive&, Attempts&) { return live_.Current(); });
}

Listing PatientDrive::List(const std::string& folder_id, const std::string& path) {
  return Call(path, Allowed(path),
              [&](Drive& drive, Attempts&) { return drive.List(folder_id, path); });
}

void PatientDrive::List(const std::string& folder_id, const std::string& path,
                        ListingReceiver& receiver) {
  Call(path, Allowed(path), [&](Drive& drive, Attempts&) {
    receiver.StartOver();
    drive.List(folder_id, path, receiver);
  });
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
  Call(request.path, Allowed(request.path), [&](Drive& drive, Attempts& attempts) {
    const std::uint64_t before = reached;
    ActiveTransfer transfer(transfers_, request.path);
    PieceSink piece(before, end - before, counting, transfer);
    try {
      drive.Read(request.file, request.path, before, end - before, piece, transfer);
    } catch (const HostError& error) {
      if (refused_by_sink != 0) throw FsError(refused_by_sink, error);
      if (!ranges_are_checked()) reached = before;  // nothing of it is known to be right
      if (reached == end) return;
      if (reached > before) attempts.Renew(patience_.retries);
      throw;
    }
  });
}

Entry PatientDrive::Send(const UploadSource& source, UploadControl& control, int retries,
                         const Finder& find_stored) {
  const Attempts allowed = Allowed(source.path, retries);
  const RefusalRules rules{allowed, find_stored ? Doubt::kLook : Doubt::kSendAgain,
                           patience_.options_are_known};
  bool repeated = false;
  return Call(source.path, allowed, [&](Drive& drive, Attempts&) {
    if (std::exchange(repeated, true) && find_stored) {
      if (auto stored = find_stored()) return *stored;
    }
    return TryUpload(drive, source, transfers_, control, rules);
  });
}

Entry PatientDrive::Upload(const std::string& parent_id, const std::string& path,
                           const UploadContents& contents, UploadControl& control, int retries,
                           const Finder& find_stored) {
  const std::string name = NameOf(path);
  return Send({parent_id, name, path, contents}, control, retries, find_stored);
}

std::optional<Entry> PatientDrive::Find(const std::string& folder_id, const std::string& path) {
  return Call(path, Allowed(path),
              [&](Drive& drive, Attempts&) { return drive.Find(folder_id, NameOf(path), path); });
}

bool PatientDrive::HasMarker(const std::string& folder_id, const std::string& path) {
  return Call(path, Allowed(path),
              [&](Drive& drive, Attempts&) { return drive.HasMarker(folder_id, path); });
}

std::optional<Entry> PatientDrive::MakeMarker(const std::string& folder_id, const std::string& path,
                                              UploadControl& control) {
  bool found = false;
  const Entry made = SendMarker(folder_id, path, control, [&] {
    found = HasMarker(folder_id, path);
    return found ? std::optional(Entry{}) : std::nullopt;
  });
  return found ? std::nullopt : std::optional(made);
}

Entry PatientDrive::RewriteMarker(const std::string& folder_id, const std::string& path,
                                  UploadControl& control) {
  return SendMarker(folder_id, path, control, {});
}

// Not by the library's own call, which takes no handle and so could not be ended.
Entry PatientDrive::SendMarker(const std::string& folder_id, const std::string& path,
                               UploadControl& control, const Finder& find_stored) {
  const std::string name = kMarkerName;
  return Send({folder_id, name, path, {}}, control, kAllRetries, find_stored);
}

Entry PatientDrive::MakeBucket(const std::string& name, const std::string& path) {
  bool repeated = false;
  return Call(path, Allowed(path), [&](Drive& drive, Attempts&) {
    const auto made = std::exchange(repeated, true) ? FindBucket(drive, name) : std::nullopt;
    return made ? *made : drive.MakeFolder("", name, path);
  });
}

void PatientDrive::DeleteBucket(const Entry& bucket, const std::string& path) {
  bool repeated = false;
  Call(path, Allowed(path), [&](Drive& drive, Attempts&) {
    const bool gone = std::exchange(repeated, true) && !FindBucket(drive, bucket.name);
    if (!gone) drive.DeleteFolder(bucket, path);
  });
}

void PatientDrive::DeleteFolder(const Entry& folder, const std::string& path) {
  Call(path, Allowed(path), [&](Drive& drive, Attempts&) { drive.DeleteFolder(folder, path); });
}

void PatientDrive::DeleteFile(const Entry& file, const std::string& path,
                              const Finder& still_there) {
  Call(path, Allowed(path), [&](Drive& drive, Attempts&) {
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
    const bool changed = failure && failure->code() == AERROR::SHARING_VIOLATION;
    std::optional<Entry> left = still_there();
    if (!left) return;
    if (changed) throw FsError(ESTALE, *failure);
    if (left->id != file.id) {
      throw FsError(ESTALE,
                    HostError(ExitCode::kFailed, path, "changed meanwhile by someone else"));
    }
    const bool gone = answer.status == 400 || answer.status == 404;  // one of several versions
    if (failure && !gone && Diagnose(*failure, answer).remedy == Remedy::kNone) {
      throw FsError(Diagnose(*failure, answer).number, *failure);
    }
    if (failure)
      throw HostError(failure->exit_code(), failure->what(), AERROR::TIMEDOUT).About(path);
    throw HostError(ExitCode::kNetwork, path, "not deleted yet", AERROR::TIMEDOUT);
  });
}

Entry PatientDrive::Copy(const Entry& file, const std::string& folder_id, const std::string& path,
                         const Finder& find_copied) {
  bool repeated = false;
  return Call(path, Allowed(path), [&](Drive& drive, Attempts&) {
    const auto found = std::exchange(repeated, true) ? find_copied() : std::nullopt;
    if (found && AreAlike(*found, file)) return *found;
    Entry copy = drive.Copy(file, folder_id, NameOf(path), path);
    if (MayBeAlike(copy, file)) return copy;
    throw FsError(EIO, HostError(ExitCode::kDamaged, path, "the service's copy is another file"));
  });
}

bool PatientDrive::DeleteVersion(const Entry& version, const std::string& path) {
  bool repeated = false;
  return Call(path, Allowed(path), [&](Drive& drive, Attempts&) {
    const bool again = std::exchange(repeated, true);
    return drive.DeleteVersion(version, path) || again;
  });
}

Listing PatientDrive::ListNamed(const std::string& folder_id, const std::string& name,
                                const std::string& path) {
  return Call(path, Allowed(path), [&](Drive& drive, Attempts&) {
    drive.ShowOnly(name);
    return drive.List(folder_id, path);
  });
}

std::uint64_t PatientDrive::TotalBytes() {
  return Call("/", Allowed("/", 0), [&](Drive& drive, Attempts&) { return drive.TotalBytes(); });
}

}  // namespace b2drive
