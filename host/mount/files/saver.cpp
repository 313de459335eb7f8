#include "host/mount/files/saver.h"

#include "host/common/fs_error.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
using std::chrono::milliseconds;

Saver::Saver(OpenFiles& files) : files_(files) {
  constexpr int kThreads = 4;
  for (int i = 0; i < kThreads; ++i) threads_.emplace_back([this] { Work(); });
}

Saver::~Saver() { Stop(); }

void Saver::Stop() {
  {
    Lock lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
  }
  for (std::thread& thread : threads_) thread.join();
  threads_.clear();
}

void Saver::Again(const SharedFilePtr& file) {
  auto delay = file->Waiting();
  if (!delay) return;
  if (delay->lasting) {
    Notice(delay->path + ": will not be sent by itself: " + delay->reason);
    return;
  }
  Later(file, Backoff(delay->failures, milliseconds(2'000), milliseconds(300'000)));
}

void Saver::Later(const SharedFilePtr& file, milliseconds delay) {
  Lock lock(mutex_);
  if (!scheduled_.insert(file).second) return;
  due_.emplace(Clock::now() + delay, file);
  changed_.notify_one();
}

void Saver::Work() {
  Lock lock(mutex_);
  while (!stopped_) {
    if (due_.empty()) {
      changed_.wait(lock);
      continue;
    }
    auto first = due_.begin();
    if (first->first > Clock::now()) {
      changed_.wait_until(lock, Clock::time_point(first->first));
      continue;
    }
    SharedFilePtr file = first->second;
    due_.erase(first);
    scheduled_.erase(file);
    lock.unlock();
    Send(file);
    file.reset();
    lock.lock();
  }
}

void Saver::Send(const SharedFilePtr& file) {
  try {
    file->SendWaiting(0);
    files_.LetGo(file);
  } catch (const FsError&) {
    Again(file);
  } catch (const std::exception& error) {
    Notice(file->path() + ": " + error.what());
    Again(file);
  }
}

}  // namespace b2drive::mount
