#include "host/mount/files/outbox.h"

#include <algorithm>

#include "host/common/fs_error.h"
#include "host/common/retry.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
using std::chrono::milliseconds;
namespace {

constexpr std::size_t kSenders = 16;
constexpr milliseconds kFirstWait(2'000);
constexpr milliseconds kLongestWait(300'000);

}  // namespace

Outbox::Outbox(OpenFiles& files, Bound bound, bool read_only)
    : files_(files), bound_(bound), read_only_(read_only), senders_(kSenders), dispatcher_([this] {
        Dispatch();
      }) {}

Outbox::~Outbox() { Stop(); }

void Outbox::Stop() {
  {
    Lock lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
  }
  if (dispatcher_.joinable()) dispatcher_.join();
  senders_.Finish();
}

bool Outbox::stopped() {
  Lock lock(mutex_);
  return stopped_;
}

void Outbox::Resume(std::vector<Unsent> unsent) {
  for (Unsent& one : unsent) {
    const std::string path = one.destination.path;
    Notice(path + ": was not sent by an earlier mount, " +
           (read_only_ ? "and this one may not" : "is sent now"));
    files_.Add(std::move(one));
    if (!read_only_) SendLater(files_.Find(path), milliseconds(0));
  }
}

void Outbox::Save(const SharedFilePtr& file) {
  try {
    file->Save();
  } catch (const FsError&) {
    SendAgain(file);
    throw;
  }
}

void Outbox::Keep(const SharedFilePtr& file) {
  if (file->HasUnsealed() && !AwaitRoom(file->Stat().size)) return Save(file);
  try {
    file->Secure();
  } catch (const FsError& error) {
    Notice(std::string(error.what()) + "; the file is sent at once");
    return Save(file);
  }
  SendLater(file, milliseconds(0));
}

// False when there will be none: nothing is under way, or the file is too large for it.
bool Outbox::AwaitRoom(std::uint64_t size) {
  constexpr milliseconds kLook(100);  // what is removed or replaced makes room as well
  const auto fits = [&] {
    const Spool::Held held = bound_.spool.held();
    return held.bytes + size <= bound_.bytes && held.files < bound_.files;
  };
  Lock lock(mutex_);
  while (!fits()) {
    if (size > bound_.bytes || stopped_ || !IsMoving()) return false;
    changed_.wait_until(lock, Clock::now() + kLook);
  }
  return true;
}

// Whether anything may be sent before long.
bool Outbox::IsMoving() const {
  return std::ranges::any_of(jobs_, [](const auto& job) { return !job.second.refused; });
}

void Outbox::LastClosed(const SharedFilePtr& file) noexcept {
  try {
    file->SealUnsaved();
    const auto delay = file->Waiting();
    if (delay && delay->failures == 0) SendLater(file, milliseconds(0));
  } catch (const std::exception& error) {
    Notice(error.what());
  }
}

std::vector<Delay> Outbox::Waiting() {
  std::vector<Delay> waiting;
  for (const SharedFilePtr& file : files_.All()) {
    if (auto delay = file->Waiting()) waiting.push_back(*delay);
  }
  return waiting;
}

std::vector<Delay> Outbox::Drain() {
  Stop();
  if (read_only_) return Waiting();
  for (const SharedFilePtr& file : files_.All()) {
    const auto delay = file->Waiting();
    if (!delay || delay->lasting) continue;
    file->NoteWaiting();
    senders_.Run([file] {
      try {
        file->SendWaiting(kAllRetries);
      } catch (const std::exception& error) {
        Notice(file->path() + ": " + error.what());
      }
    });
  }
  senders_.Finish();
  return Waiting();
}

void Outbox::SendLater(const SharedFilePtr& file, milliseconds delay) {
  if (!Schedule(file, Clock::now() + delay)) file->NoteWaiting();
}

// Whether its turn comes at once.
bool Outbox::Schedule(const SharedFilePtr& file, Clock::time_point due) {
  Lock lock(mutex_);
  Job& job = jobs_.try_emplace(file, Job{due}).first->second;
  if (job.running) {
    job.again = std::min(job.again.value_or(due), due);
    return false;
  }
  due_.erase({job.due, file});
  job.due = std::min(job.due, due);
  due_.emplace(job.due, file);
  changed_.notify_all();
  return job.due <= Clock::now() && jobs_.size() <= kSenders;
}

void Outbox::SendAgain(const SharedFilePtr& file) {
  if (const auto pause = PauseOf(file)) SendLater(file, *pause);
}

// Before the next attempt; none when there is to be none.
std::optional<milliseconds> Outbox::PauseOf(const SharedFilePtr& file) {
  const auto delay = file->Waiting();
  if (!delay) return std::nullopt;
  if (delay->lasting) {
    Notice(delay->path + ": will not be sent by itself: " + delay->reason);
    return std::nullopt;
  }
  if (delay->failures == 0) return milliseconds(0);
  return Backoff(delay->failures, kFirstWait, kLongestWait);
}

void Outbox::Dispatch() {
  for (;;) {
    SharedFilePtr file;
    {
      Lock lock(mutex_);
      file = NextDue(lock);
    }
    if (!file) return;
    try {
      senders_.Run([this, file] { Run(file); });
    } catch (const std::exception&) {  // no thread is left
      EndJob(file, Clock::now() + kFirstWait);
    }
  }
}

// Null once it is stopped.
SharedFilePtr Outbox::NextDue(Lock& lock) {
  while (!stopped_) {
    if (due_.empty() || jobs_.size() - due_.size() >= kSenders) {
      changed_.wait(lock);
      continue;
    }
    const auto first = due_.begin();
    if (first->first > Clock::now()) {
      changed_.wait_until(lock, Clock::time_point(first->first));
      continue;
    }
    SharedFilePtr file = first->second;
    due_.erase(first);
    jobs_[file].running = true;
    return file;
  }
  return nullptr;
}

void Outbox::Run(const SharedFilePtr& file) noexcept {
  std::optional<milliseconds> pause = kFirstWait;
  try {
    if (!stopped()) Send(file);
    pause = PauseOf(file);
  } catch (const std::exception& error) {
    Notice(file->path() + ": " + error.what());
  }
  if (pause) file->NoteWaiting();
  const bool ended = EndJob(file, pause ? std::optional(Clock::now() + *pause) : std::nullopt);
  if (ended) files_.LetGo(file);
}

void Outbox::Send(const SharedFilePtr& file) {
  try {
    file->SendWaiting(0);
  } catch (const FsError&) {  // the file knows it
  }
}

// False when it is to be sent once more, at `next` or at once. Between two attempts it is never
// missing among the jobs, by which closes know whether to wait.
bool Outbox::EndJob(const SharedFilePtr& file, std::optional<Clock::time_point> next) {
  const bool refused = file->IsRefused();
  Lock lock(mutex_);
  Job& job = jobs_.at(file);
  if (job.again) next = std::min(next.value_or(*job.again), *job.again);
  job.again.reset();
  changed_.notify_all();
  if (!next) return jobs_.erase(file) > 0;
  job.running = false;
  job.refused = refused;
  job.due = *next;
  due_.emplace(job.due, file);
  return false;
}

}  // namespace b2drive::mount
