#include "host/mount/files/shared_destination.h"

#include <algorithm>
#include <utility>

#include "host/local/local_io.h"

namespace b2drive::mount {

Destination SharedDestination::Get() const {
  Lock lock(mutex_);
  return destination_;
}

void SharedDestination::Set(Destination destination) {
  Lock lock(mutex_);
  destination_ = std::move(destination);
}

void SharedDestination::SetBase(const std::string& id) {
  Lock lock(mutex_);
  destination_.base = id;
}

void SharedDestination::NoteAttempt(const SpoolFile& contents) {
  AddAttempts({{contents.Size(), ChecksumOf(contents.fd())}});
}

void SharedDestination::AddAttempts(const std::vector<Fingerprint>& prints) {
  constexpr std::size_t kMostAttempted = 8;
  Lock lock(mutex_);
  auto& attempted = destination_.attempted;
  for (const Fingerprint& print : prints) {
    if (std::ranges::count(attempted, print) == 0) attempted.push_back(print);
    if (attempted.size() > kMostAttempted) attempted.erase(attempted.begin());
  }
}

void SharedDestination::Arrived(const std::string& id) {
  Lock lock(mutex_);
  destination_.base = id;
  destination_.attempted.clear();
  destination_.former = {};
}

bool SharedDestination::HasAttempt(std::uint64_t size) const {
  Lock lock(mutex_);
  return std::ranges::count(destination_.attempted, size, &Fingerprint::size) > 0;
}

bool SharedDestination::HasAttempt(const Fingerprint& fingerprint) const {
  Lock lock(mutex_);
  return std::ranges::count(destination_.attempted, fingerprint) > 0;
}

}  // namespace b2drive::mount
