#include "host/mount/files/pending_contents.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/common/waiting.h"
#include "host/local/local_io.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace {

constexpr std::uint64_t kQuickCopy = 1024UL * 1024;  // bytes

}  // namespace

PendingContents::PendingContents(Spool& spool, BlockCache& blocks, Destination destination)
    : spool_(spool), blocks_(blocks), destination_(std::move(destination)) {}

PendingContents::PendingContents(Spool& spool, BlockCache& blocks, Unsent unsent)
    : spool_(spool),
      blocks_(blocks),
      destination_(std::move(unsent.destination)),
      work_(unsent.contents),
      sealed_(unsent.contents),
      taken_(unsent.contents) {}

SpoolPtr PendingContents::visible() const {
  Lock lock(state_);
  return work_;
}

SpoolPtr PendingContents::Freeze() {
  Lock writing(writing_);
  Lock lock(state_);
  if (sealed_ || change_ != Change::kNone) return nullptr;
  return frozen_ = work_;
}

bool PendingContents::IsClean() const {
  Lock lock(state_);
  return abandoned_ || (change_ == Change::kNone && !sealed_);
}

bool PendingContents::IsAbandoned() const {
  Lock lock(state_);
  return abandoned_;
}

bool PendingContents::HasUnsealed() const {
  Lock lock(state_);
  return !abandoned_ && change_ != Change::kNone;
}

bool PendingContents::HasUnsavedBytes() const {
  Lock lock(state_);
  return !abandoned_ && change_ == Change::kWritten;
}

SpoolPtr PendingContents::sealed() const {
  Lock lock(state_);
  return abandoned_ ? nullptr : sealed_;
}

SpoolPtr PendingContents::TakeSealed() {
  Lock writing(writing_);  // what is being sealed knows whether this may arrive before it
  Lock lock(state_);
  if (abandoned_) return nullptr;
  taken_ = sealed_;
  return sealed_;
}

void PendingContents::StartEmpty() {
  Lock writing(writing_);
  SpoolPtr empty = WithRoom(blocks_, [&] { return spool_.Make(); });
  Lock lock(state_);
  work_ = std::move(empty);
  change_ = Change::kEmptied;
}

void PendingContents::Show(SpoolPtr contents) {
  Lock lock(state_);
  if (!work_) work_ = std::move(contents);
}

SpoolPtr PendingContents::Writable() {
  SpoolPtr work;
  {
    Lock lock(state_);
    work = work_;
    const bool entered = work == sealed_ || std::ranges::count(superseded_, work) > 0;
    if (!work || (!entered && work != frozen_)) return work;
  }
  if (work->Size() > kQuickCopy) AboutToWait();
  SpoolPtr copy = WithRoom(blocks_, [&] { return spool_.Clone(*work); });
  Lock lock(state_);
  frozen_.reset();
  return work_ = std::move(copy);
}

bool PendingContents::Write(std::uint64_t offset, const char* data, std::size_t count) {
  Lock writing(writing_);
  const SpoolPtr work = Writable();
  if (!work) return false;
  {
    Lock lock(state_);
    change_ = Change::kWritten;
  }
  WithRoom(blocks_, [&] { spool_.Write(*work, data, count, offset); });
  return true;
}

bool PendingContents::Resize(std::uint64_t size) {
  if (size == 0) {  // nothing needs to be copied
    StartEmpty();
    Lock lock(state_);
    change_ = Change::kWritten;
    return true;
  }
  Lock writing(writing_);
  const SpoolPtr work = Writable();
  if (!work) return false;
  {
    Lock lock(state_);
    change_ = Change::kWritten;
  }
  spool_.Resize(*work, size);
  return true;
}

void PendingContents::Seal() {
  Lock writing(writing_);
  SealWork(false);
}

void PendingContents::SealAndSecure() {
  Lock writing(writing_);
  SealWork(true);
  const SpoolPtr sealed = this->sealed();
  if (sealed && sealed->IsSecured()) return RemoveEntriesBefore(sealed, false);
  SecureSealed();
}

void PendingContents::SealWork(bool secured) {
  SpoolPtr work;
  SpoolPtr taken;
  {
    Lock lock(state_);
    if (abandoned_ || change_ == Change::kNone) return;
    work = work_;
    taken = taken_.lock();
  }
  // Earlier contents may just be arriving. And where an earlier entry would come back after a loss
  // of power this one must too, or what it sends would look like someone else's.
  const std::vector<SpoolPtr> earlier = Entered();
  for (const SpoolPtr& one : earlier) {
    if (one == taken) destination_.NoteAttempt(*one);
    secured = secured || one->IsSecured();
  }
  const Destination destination = destination_.Get();
  try {
    WithRoom(blocks_, [&] {
      secured ? spool_.Secure(*work, destination) : spool_.Enter(*work, destination);
    });
  } catch (const FsError& error) {
    // Sending may still succeed, and then the entry is not missed.
    Notice(destination.path + ": no journal entry, " + error.what());
  }
  Lock lock(state_);
  if (sealed_) superseded_.push_back(sealed_);
  sealed_ = work;
  change_ = Change::kNone;
}

void PendingContents::Secure() {
  Lock writing(writing_);
  SecureSealed();
}

void PendingContents::SecureSealed() {
  const SpoolPtr sealed = this->sealed();
  if (!sealed) return;
  WithRoom(blocks_, [&] { spool_.Secure(*sealed, destination_.Get()); });
  RemoveEntriesBefore(sealed, false);
}

void PendingContents::Sent(const SpoolPtr& contents, const std::string& id) {
  Lock writing(writing_);
  destination_.Arrived(id);
  RemoveEntriesBefore(contents, true);
}

void PendingContents::NotSent(const SpoolPtr& contents) {
  destination_.NoteAttempt(*contents);
  Secure();
}

bool PendingContents::MayHaveSent(std::uint64_t size) const {
  const SpoolPtr sealed = this->sealed();
  return (sealed && sealed->Size() == size) || destination_.HasAttempt(size);
}

std::vector<SpoolPtr> PendingContents::Entered() const {
  Lock lock(state_);
  std::vector<SpoolPtr> entered = superseded_;
  if (sealed_) entered.push_back(sealed_);
  return entered;
}

// Of what was sealed before `contents`, and perhaps of those, too.
void PendingContents::RemoveEntriesBefore(const SpoolPtr& contents, bool itself) {
  std::vector<SpoolPtr> removed;
  {
    Lock lock(state_);
    const auto found = std::ranges::find(superseded_, contents);
    const bool latest = sealed_ == contents;
    if (!latest && found == superseded_.end()) return;
    const auto end = found != superseded_.end() && itself ? found + 1 : found;
    removed.assign(superseded_.begin(), end);
    superseded_.erase(superseded_.begin(), end);
    if (latest && itself) {
      removed.push_back(sealed_);
      sealed_.reset();
    }
  }
  for (const SpoolPtr& one : removed) RemoveEntry(one);
}

void PendingContents::RemoveEntry(const SpoolPtr& contents) {
  try {
    spool_.RemoveEntry(*contents);
  } catch (const std::exception& error) {
    Notice(path() + ": " + error.what());
  }
}

void PendingContents::Redirect(const std::string& path, const std::string& base,
                               const NamedVersion& former) {
  Lock writing(writing_);
  // One entry is moved at once; of several, older contents would stay behind for a moment.
  if (Entered().size() > 1) SecureSealed();
  const SpoolPtr sealed = this->sealed();
  Destination destination = destination_.Get();
  destination.path = path;
  destination.base = base;
  destination.former = former;
  if (sealed) WithRoom(blocks_, [&] { spool_.Enter(*sealed, destination); });
  destination_.Set(std::move(destination));
}

void PendingContents::NoteAttemptsOf(const PendingContents& replaced) {
  SpoolPtr taken;
  {
    Lock lock(replaced.state_);
    taken = replaced.taken_.lock();
  }
  destination_.AddAttempts(replaced.destination_.Get().attempted);
  if (taken && taken == replaced.sealed()) destination_.NoteAttempt(*taken);
}

void PendingContents::Abandon() {
  Lock writing(writing_);
  const std::vector<SpoolPtr> entered = Entered();
  {
    Lock lock(state_);
    abandoned_ = true;
    change_ = Change::kNone;
    sealed_.reset();
    superseded_.clear();
  }
  for (const SpoolPtr& one : entered) RemoveEntry(one);
}

SpoolPtr PendingContents::Retire() {
  Lock lock(state_);
  if (abandoned_ || sealed_ || change_ != Change::kNone) return nullptr;
  return std::exchange(work_, nullptr);
}

}  // namespace b2drive::mount
