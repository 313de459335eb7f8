#include "host/mount/files/outbox.h"

#include "host/common/fs_error.h"
#include "host/common/retry.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
using std::chrono::milliseconds;
namespace {

constexpr std::size_t kSenders = 4;
constexpr milliseconds kFirstWait(2'000);
constexpr milliseconds kLongestWait(300'000);

}  // namespace

Outbox::Outbox(OpenFiles& files, bool read_only)
    : files_(files),
      read_only_(read_only),
      senders_(kSenders),
      dispatcher_([this] { Dispatch(); }) {}

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
  Lock lock(mutex_);
  if (!scheduled_.insert(file).second) return;
  due_.emplace(Clock::now() + delay, file);
  changed_.notify_one();
}

void Outbox::SendAgain(const SharedFilePtr& file) {
  const auto delay = file->Waiting();
  if (!delay) return;
  if (delay->lasting) {
    Notice(delay->path + ": will not be sent by itself: " + delay->reason);
    return;
  }
  SendLater(file, Backoff(delay->failures, kFirstWait, kLongestWait));
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
      senders_.Run([this, file] { Send(file); });
    } catch (const std::exception&) {  // no thread is left
      SendLater(file, kFirstWait);
    }
  }
}

// Null once it is stopped.
SharedFilePtr Outbox::NextDue(Lock& lock) {
  while (!stopped_) {
    if (due_.empty()) {
      changed_.wait(lock);
      continue;
    }
    const auto first = due_.begin();
    if (first->first > Clock::now()) {
      changed_.wait_until(lock, Clock::time_point(first->first));
      continue;
    }
    SharedFilePtr file = std::move(first->second);
    due_.erase(first);
    scheduled_.erase(file);
    return file;
  }
  return nullptr;
}

void Outbox::Send(const SharedFilePtr& file) noexcept {
  if (stopped()) return;
  try {
    file->SendWaiting(0);
    files_.LetGo(file);
  } catch (const FsError&) {
    SendAgain(file);
  } catch (const std::exception& error) {
    Notice(file->path() + ": " + error.what());
    SendAgain(file);
  }
}

}  // namespace b2drive::mount
