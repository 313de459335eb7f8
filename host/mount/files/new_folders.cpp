#include "host/mount/files/new_folders.h"

#include <cerrno>
#include <chrono>
#include <utility>

#include "host/common/path.h"
#include "host/common/retry.h"
#include "host/common/waiting.h"

namespace b2drive::mount {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kSenders = 8;
constexpr std::size_t kMost = 1000;
constexpr milliseconds kFirstWait(2'000);
constexpr milliseconds kLongestWait(60'000);

}  // namespace

NewFolders::NewFolders(Sender send, Refused refused)
    : send_(std::move(send)), refused_(std::move(refused)), senders_(kSenders) {}

NewFolders::~NewFolders() {
  {
    Lock lock(mutex_);
    stopping_ = stopped_ = true;
    changed_.notify_all();
  }
  senders_.Finish();
}

bool NewFolders::Add(const std::string& path, const std::string& id) {
  auto job = std::make_shared<Job>();
  job->id = id;
  {
    Lock lock(mutex_);
    if (stopping_ || jobs_.size() >= kMost) return false;
    if (!jobs_.emplace(path, job).second) return true;
  }
  try {
    senders_.Run([this, path, job] { Run(path, job); });
  } catch (const std::exception&) {  // no thread is left
    Lock lock(mutex_);
    End(path, *job);
    return false;
  }
  return true;
}

bool NewFolders::Has(const std::string& path) {
  Lock lock(mutex_);
  return jobs_.contains(path);
}

std::vector<Entry> NewFolders::In(const std::string& folder) {
  std::vector<Entry> found;
  Lock lock(mutex_);
  for (const auto& [path, job] : jobs_) {
    if (ParentOf(path) == folder) found.push_back({NameOf(path), job->id, true, 0, {}});
  }
  return found;
}

void NewFolders::Await(const std::string& path) {
  Lock lock(mutex_);
  const auto found = jobs_.find(path);
  if (found == jobs_.end()) return;
  const JobPtr job = found->second;
  while (!job->ended && (job->running || job->failures == 0)) {
    AboutToWait();
    changed_.wait(lock);
  }
  if (job->failure) throw FsError(*job->failure);
}

std::vector<std::string> NewFolders::Below(const std::string& folder) {
  std::vector<std::string> below;
  const std::string inside = Join(folder, "");
  Lock lock(mutex_);
  for (const auto& [path, job] : jobs_) {
    if (path == folder || path.starts_with(inside)) below.push_back(path);
  }
  return below;
}

void NewFolders::AwaitBelow(const std::string& folder) {
  for (const std::string& path : Below(folder)) Await(path);
}

void NewFolders::TakeBack(const std::string& path) {
  Lock lock(mutex_);
  const auto found = jobs_.find(path);
  if (found == jobs_.end()) return;
  const JobPtr job = found->second;
  job->taken_back = true;
  changed_.notify_all();
  while (!job->ended && !stopping_) {
    AboutToWait();
    changed_.wait(lock);
  }
}

std::vector<Delay> NewFolders::Waiting() {
  std::vector<Delay> waiting;
  Lock lock(mutex_);
  for (const auto& [path, job] : jobs_) {
    Delay delay;
    delay.path = Join(path, "");
    delay.sending = job->running;
    delay.failures = job->failures;
    if (job->failure) delay.reason = job->failure->what();
    waiting.push_back(std::move(delay));
  }
  return waiting;
}

std::vector<Delay> NewFolders::Drain() {
  {
    Lock lock(mutex_);
    stopping_ = true;
    changed_.notify_all();
  }
  senders_.Finish();
  return Waiting();
}

void NewFolders::Run(const std::string& path, const JobPtr& job) {
  {
    Lock lock(mutex_);
    do {
      if (stopped_ || job->taken_back) break;
      Attempt(path, *job);
      if (!job->failure || job->failure->lasting()) break;
      if (stopping_) return;  // it stays among those that wait
    } while (Pause(lock, *job));
    End(path, *job);
    if (!job->failure || !job->failure->lasting() || job->taken_back) return;
  }
  refused_(path, job->failure->what());
}

void NewFolders::Attempt(const std::string& path, Job& job) {
  std::optional<FsError> failure;
  job.running = true;
  mutex_.unlock();
  try {
    send_(path, job.id);
  } catch (const FsError& error) {
    failure = error;
  } catch (const std::exception& error) {
    failure.emplace(EIO, error.what());
  }
  mutex_.lock();
  job.running = false;
  job.failure = std::move(failure);
  if (job.failure) ++job.failures;
  changed_.notify_all();
}

bool NewFolders::Pause(Lock& lock, const Job& job) {
  const auto until =
      std::chrono::steady_clock::now() + Backoff(job.failures, kFirstWait, kLongestWait);
  while (!stopping_ && !job.taken_back && std::chrono::steady_clock::now() < until) {
    changed_.wait_until(lock, until);
  }
  return !job.taken_back && !stopped_;
}

void NewFolders::End(const std::string& path, Job& job) {
  job.ended = true;
  jobs_.erase(path);
  changed_.notify_all();
}

}  // namespace b2drive::mount
