#include "host/mount/files/path_gate.h"

#include <algorithm>
#include <utility>

#include "host/common/path.h"
#include "host/common/waiting.h"

namespace b2drive::mount {

PathGate::Pass::Pass(PathGate& gate, std::string_view path, std::string_view other)
    : Pass(gate, path, other, false) {}

PathGate::Pass::Pass(PathGate& gate, std::string_view path, std::string_view other, bool lists)
    : gate_(gate) {
  Lock lock(gate.mutex_);
  bool waited = false;
  while (gate.IsClosed(path, lists) || gate.IsClosed(other, false)) {
    AboutToWait();
    gate.changed_.wait(lock);
    waited = true;
  }
  if (waited) WaitedForNames();
  path_ = gate.inside_.insert(path);
  other_ = gate.inside_.insert(other);
}

PathGate::Pass::~Pass() {
  Lock lock(gate_.mutex_);
  gate_.inside_.erase(path_);
  gate_.inside_.erase(other_);
  if (!gate_.closures_.empty()) gate_.changed_.notify_all();
}

bool PathGate::IsClosed(std::string_view path, bool lists) const {
  return std::ranges::any_of(closures_, [&](const Closure* one) {
    return one->Covers(path) || (lists && one->Changes(path));
  });
}

PathGate::Closure::Closure(PathGate& gate, std::string from, std::string to)
    : gate_(gate), from_(std::move(from)), to_(std::move(to)) {
  AboutToWait();
  Lock lock(gate.mutex_);
  const auto meets = [this](const Closure* other) { return Meets(*other); };
  bool waited = false;
  while (std::ranges::any_of(gate.closures_, meets)) {
    gate.changed_.wait(lock);
    waited = true;
  }
  if (waited) WaitedForNames();
  gate.closures_.push_back(this);
  const auto covers = [this](std::string_view path) { return Covers(path); };
  while (std::ranges::any_of(gate.inside_, covers)) gate.changed_.wait(lock);
}

PathGate::Closure::~Closure() {
  Lock lock(gate_.mutex_);
  std::erase(gate_.closures_, this);
  gate_.changed_.notify_all();
}

bool PathGate::Closure::Covers(std::string_view path) const {
  return IsAtOrBelow(path, from_) || IsAtOrBelow(path, to_);
}

bool PathGate::Closure::Changes(std::string_view folder) const {
  return folder == ParentOf(from_) || folder == ParentOf(to_);
}

bool PathGate::Closure::Meets(const Closure& other) const {
  return Covers(other.from_) || Covers(other.to_) || other.Covers(from_) || other.Covers(to_);
}

}  // namespace b2drive::mount
