#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <utility>

#include "host/common/waiting.h"
#include "host/mount/kernel/fuse_ops.h"
#include "host/mount/kernel/reply.h"

namespace b2drive::mount {

// What all callbacks share.

inline FuseContext& ContextOf(fuse_req_t request) {
  return *static_cast<FuseContext*>(fuse_req_userdata(request));
}

struct stat ToStat(const FuseContext& context, std::uint64_t number, const Entry& entry);
fuse_entry_param ToEntryParam(FuseContext& context, const std::string& path, const Entry& entry);
// As long as the kernel may keep what it was told.
inline constexpr double kKeptSeconds = 1.0;

// The errno of the exception that is being handled; what is not daily business is noted.
int NumberOfFailure() noexcept;

// An operation gets the context and the reply that it owes, and must not have changed anything when
// it throws WouldWait. One that may run in the background has its arguments by value: the kernel's
// are gone when its callback returns.

// Runs an operation here; false when it would have to wait.
template <typename Operation>
bool ServeAtOnce(FuseContext& context, Reply& reply, const Operation& operation) noexcept {
  const NoWaiting here;
  try {
    operation(context, reply);
  } catch (const WouldWait&) {
    return false;
  } catch (...) {
    reply.Error(NumberOfFailure());
  }
  return true;
}

// Runs an operation; false when its names have changed meanwhile.
template <typename Operation>
bool ServeOnce(FuseContext& context, Reply& reply, const Operation& operation) noexcept {
  try {
    operation(context, reply);
  } catch (const NamesChanged&) {
    return false;
  } catch (...) {
    reply.Error(NumberOfFailure());
  }
  return true;
}

// Runs it on a thread of its own, so that none of the few that read the kernel's requests waits.
template <typename Operation>
void ServeInBackground(FuseContext& context, Reply owed, Operation operation) noexcept {
  try {
    auto reply = std::make_shared<Reply>(std::move(owed));
    context.owed.Add(reply);
    context.background.Run([&context, reply, operation = std::move(operation)] {
      const RunningAgain here;
      while (!ServeOnce(context, *reply, operation)) continue;
    });
  } catch (...) {  // no memory or no thread: an unanswered reply says EIO when it goes
    NumberOfFailure();
  }
}

template <typename Operation>
void Serve(fuse_req_t request, Operation operation) noexcept {
  FuseContext& context = ContextOf(request);
  Reply reply(request);
  if (ServeAtOnce(context, reply, operation)) return;
  ServeInBackground(context, std::move(reply), std::move(operation));
}

// The same for operations whose answer is success alone.
template <typename Operation>
void ServeDone(fuse_req_t request, Operation operation) noexcept {
  Serve(request, [operation = std::move(operation)](FuseContext& context, Reply& reply) {
    operation(context);
    reply.Error(0);
  });
}

// The callbacks: on names and attributes, on open files, on folders' contents, and the question of
// `b2drive status`.
void AddNameOperations(fuse_lowlevel_ops& operations);
void AddFileOperations(fuse_lowlevel_ops& operations);
void AddFolderOperations(fuse_lowlevel_ops& operations);
void AddStatusOperation(fuse_lowlevel_ops& operations);

}  // namespace b2drive::mount
