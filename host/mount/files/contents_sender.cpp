#include "host/mount/files/contents_sender.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/local/local_io.h"
#include "host/mount/files/unsent_copy_name.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {

// Shown as running while it lives.
class ContentsSender::Attempt {
 public:
  explicit Attempt(ContentsSender& sender)
      : sender_(sender), control_(std::make_shared<UploadControl>(sender.LeftBehind())) {
    Lock lock(sender_.mutex_);
    sender_.running_ = control_;
  }
  ~Attempt() {
    Lock lock(sender_.mutex_);
    sender_.unfinished_ = control_->unfinished();
    sender_.running_.reset();
  }
  Attempt(const Attempt&) = delete;
  Attempt& operator=(const Attempt&) = delete;

  UploadControl& control() const { return *control_; }

 private:
  ContentsSender& sender_;
  const std::shared_ptr<UploadControl> control_;
};

bool ContentsSender::Send(int retries) {
  const SpoolPtr contents = pending_.TakeSealed();
  if (!contents) return false;
  try {
    const Attempt attempt(*this);
    SendOnce(contents, attempt.control(), retries);
    return true;
  } catch (const FsError& error) {
    NoteNotSent(contents, error);
    throw;
  } catch (const std::exception& error) {
    const FsError failure(EIO, pending_.path() + ": " + error.what());
    NoteNotSent(contents, failure);
    throw FsError(failure);
  }
}

void ContentsSender::SendOnce(const SpoolPtr& contents, UploadControl& control, int retries) {
  const auto since = LookSince();
  if (since && IsThere(contents, *since)) return;
  NoteSent(contents,
           stored_.Upload(pending_.path(), *contents, contents->Modified(), control, retries));
}

// Whether the service holds contents that waited. What someone else has stored since they were
// written is not hidden by them: they get a name of their own.
bool ContentsSender::IsThere(const SpoolPtr& contents, Clock::time_point since) {
  const std::string name = pending_.path();
  const std::optional<Entry> found = stored_.FindSince(name, since);
  if (found && found->id != pending_.base()) {
    const SpoolPtr theirs =
        pending_.MayHaveSent(found->size) ? stored_.Bring(*found, name, found->size) : nullptr;
    if (theirs && SameBytes(theirs->fd(), contents->fd())) {
      stored_.Set(found);
      NoteSent(contents, *found);
      return true;
    }
    if (!theirs || !pending_.MayHaveSent({found->size, ChecksumOf(theirs->fd())})) {
      GoElsewhere();
      return false;
    }
    pending_.SetBase(found->id);
  }
  stored_.Set(found);
  return false;
}

void ContentsSender::GoElsewhere() {
  const std::string name = pending_.path();
  const auto taken = [&](const std::string& other) {
    return services_.directory.Find(other).has_value();
  };
  const std::string other = UnsentCopyName(name, taken);
  pending_.Redirect(other, "");
  stored_.Set(std::nullopt);
  services_.redirected(file_, name, other);
}

void ContentsSender::NoteSent(const SpoolPtr& contents, const Entry& entry) {
  pending_.Sent(contents, entry.id);
  Lock lock(mutex_);
  failure_.reset();
  failures_ = 0;
  waiting_since_.reset();
}

void ContentsSender::NoteWaiting() {
  Lock lock(mutex_);
  if (!waiting_since_) waiting_since_ = Clock::now();
}

std::optional<ContentsSender::Clock::time_point> ContentsSender::LookSince() const {
  constexpr auto kSoon = std::chrono::seconds(1);
  const bool certain = stored_.certain();
  const Clock::time_point now = Clock::now();
  Lock lock(mutex_);
  const Clock::time_point since = waiting_since_.value_or(now);
  if (certain && failures_ == 0 && now - since < kSoon) return std::nullopt;
  return std::max(since, now - kSoon);
}

Unfinished ContentsSender::LeftBehind() const {
  Lock lock(mutex_);
  return unfinished_;
}

void ContentsSender::NoteNotSent(const SpoolPtr& contents, const FsError& error) {
  // Each further attempt would leave one more.
  constexpr int kMostUnfinished = 10;
  stored_.Doubt();
  {
    Lock lock(mutex_);
    ++failures_;
    waiting_since_ = Clock::now();  // what was found before may have changed by this attempt
    const bool lasting = error.lasting() || unfinished_.files >= kMostUnfinished;
    failure_ = FsError(error.number(), error.what(), lasting);
  }
  try {
    pending_.NotSent(contents);
  } catch (const std::exception& unsafe) {
    Notice(pending_.path() +
           ": waits to be sent, but would not survive the machine: " + unsafe.what());
  }
}

void ContentsSender::GiveUp() {
  Lock lock(mutex_);
  if (running_) running_->GiveUp();
}

std::optional<FsError> ContentsSender::Failure() const {
  if (!pending_.sealed()) return std::nullopt;
  Lock lock(mutex_);
  return failure_;
}

std::optional<Delay> ContentsSender::Waiting() const {
  const SpoolPtr sealed = pending_.sealed();
  if (!sealed) return std::nullopt;
  const std::string name = pending_.path();
  const std::uint64_t size = sealed->Size();
  Lock lock(mutex_);
  return Delay{name,
               size,
               running_ != nullptr,
               failures_,
               failure_ && failure_->lasting(),
               failure_ ? failure_->what() : "",
               unfinished_};
}

}  // namespace b2drive::mount
