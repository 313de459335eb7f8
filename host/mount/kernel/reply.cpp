#include "host/mount/kernel/reply.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace b2drive::mount {
namespace {

constexpr auto kLook = std::chrono::milliseconds(100);

constexpr std::uint64_t BitOf(int signal) { return 1ULL << (signal - 1); }

constexpr std::uint64_t kHarmless = BitOf(SIGCHLD) | BitOf(SIGCONT) | BitOf(SIGURG) |
                                    BitOf(SIGWINCH) | BitOf(SIGSTOP) | BitOf(SIGTSTP) |
                                    BitOf(SIGTTIN) | BitOf(SIGTTOU);

std::string InProc(pid_t thread, const char* file) {
  return "/proc/" + std::to_string(thread) + "/" + file;
}

// Whether the thread ends because of a signal, and the kernel closes its files. One that ends by
// itself may count on what it wrote to be stored then.
bool IsDying(pid_t thread) {
  constexpr int kFlags = 9;  // fields of proc(5), which count the name as the second
  constexpr int kExitCode = 52;
  constexpr std::uint64_t kExiting = 4;
  constexpr std::uint64_t kSignal = 0x7F;
  std::ifstream stat(InProc(thread, "stat"));
  std::string line;
  std::getline(stat, line);
  std::istringstream fields(line.substr(std::min(line.size(), line.rfind(')') + 1)));
  std::uint64_t flags = 0;
  std::string value;
  for (int field = 3; fields >> value; ++field) {
    if (field == kFlags) flags = std::strtoull(value.c_str(), nullptr, 10);
    if (field == kExitCode) {
      const std::uint64_t code = std::strtoull(value.c_str(), nullptr, 10);
      return (flags & kExiting) != 0 && (code & kSignal) != 0;
    }
  }
  return false;
}

// Whether a signal that ends it waits for the thread. Others interrupt it as well, and it goes on
// when it has its answer.
bool IsKilled(pid_t thread) {
  std::ifstream status(InProc(thread, "status"));
  std::uint64_t pending = 0;
  std::uint64_t survived = kHarmless;
  for (std::string line; std::getline(status, line);) {
    if (!line.starts_with("Sig") && !line.starts_with("ShdPnd")) continue;
    const std::string name = line.substr(0, line.find(':'));
    if (name == "SigQ") continue;
    const std::uint64_t set = std::stoull(line.substr(name.size() + 1), nullptr, 16);
    name.ends_with("Pnd") ? pending |= set : survived |= set;  // blocked, ignored or caught
  }
  const bool gone = !status.is_open();
  return gone || (pending & ~survived) != 0 || (pending & BitOf(SIGKILL)) != 0;
}

}  // namespace

Reply::~Reply() {
  if (fuse_req_t request = Take()) fuse_reply_err(request, EIO);
}

fuse_req_t Reply::Take() {
  Lock lock(mutex_);
  return std::exchange(request_, nullptr);
}

bool Reply::Entry(const fuse_entry_param& entry) {
  fuse_req_t request = Take();
  return request != nullptr && fuse_reply_entry(request, &entry) == 0;
}

bool Reply::Created(const fuse_entry_param& entry, const fuse_file_info& info) {
  fuse_req_t request = Take();
  return request != nullptr && fuse_reply_create(request, &entry, &info) == 0;
}

bool Reply::Opened(const fuse_file_info& info) {
  fuse_req_t request = Take();
  return request != nullptr && fuse_reply_open(request, &info) == 0;
}

bool Reply::Attributes(const struct stat& attributes, double kept_seconds) {
  fuse_req_t request = Take();
  return request != nullptr && fuse_reply_attr(request, &attributes, kept_seconds) == 0;
}

bool Reply::Bytes(const char* data, std::size_t count) {
  fuse_req_t request = Take();
  return request != nullptr && fuse_reply_buf(request, data, count) == 0;
}

bool Reply::Written(std::size_t count) {
  fuse_req_t request = Take();
  return request != nullptr && fuse_reply_write(request, count) == 0;
}

bool Reply::Statistics(const struct statvfs& statistics) {
  fuse_req_t request = Take();
  return request != nullptr && fuse_reply_statfs(request, &statistics) == 0;
}

bool Reply::Controlled(const void* data, std::size_t count) {
  fuse_req_t request = Take();
  return request != nullptr && fuse_reply_ioctl(request, 0, data, count) == 0;
}

bool Reply::Error(int number) {
  fuse_req_t request = Take();
  return request != nullptr && fuse_reply_err(request, number) == 0;
}

void Reply::EndIfKilled() {
  Lock lock(mutex_);
  if (request_ == nullptr) return;
  const pid_t program = fuse_req_ctx(request_)->pid;
  const bool killed = fuse_req_interrupted(request_) != 0 && IsKilled(program);
  if (!killed && !IsDying(program)) return;
  fuse_reply_err(std::exchange(request_, nullptr), EINTR);
}

OwedReplies::~OwedReplies() {
  std::thread watcher;
  {
    Lock lock(mutex_);
    ending_ = true;
    changed_.notify_all();
    watcher.swap(watcher_);
  }
  if (watcher.joinable()) watcher.join();
}

void OwedReplies::Add(const std::shared_ptr<Reply>& reply) {
  Lock lock(mutex_);
  if (end_with_ != 0) {
    reply->Error(end_with_);
    return;
  }
  owed_.push_back(reply);
  if (!watcher_.joinable()) watcher_ = std::thread([this] { Watch(); });
  changed_.notify_all();
}

void OwedReplies::EndAll(int number) {
  Lock lock(mutex_);
  end_with_ = number;
  for (const auto& owed : owed_) {
    if (const auto reply = owed.lock()) reply->Error(number);
  }
  owed_.clear();
}

// Not at once: most are answered before anyone could be killed.
void OwedReplies::AwaitNextLook(Lock& lock) {
  const auto next = std::chrono::steady_clock::now() + kLook;
  while (!ending_ && std::chrono::steady_clock::now() < next) changed_.wait_until(lock, next);
}

void OwedReplies::Watch() {
  Lock lock(mutex_);
  while (!ending_) {
    if (owed_.empty()) {
      changed_.wait(lock);
      continue;
    }
    AwaitNextLook(lock);
    std::erase_if(owed_, [](const std::weak_ptr<Reply>& owed) {
      const auto reply = owed.lock();
      if (reply) reply->EndIfKilled();
      return !reply;
    });
  }
}

}  // namespace b2drive::mount
