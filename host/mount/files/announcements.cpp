#include "host/mount/files/announcements.h"

#include <utility>

#include "host/terminal/notices.h"

namespace b2drive::mount {

void Announcements::Add(const std::string& line) {
  constexpr std::size_t kMostLines = 100;
  Notice(line);
  Lock lock(mutex_);
  lines_.push_back(line);
  if (lines_.size() > kMostLines) lines_.pop_front();
}

void Announcements::AddRedirect(const std::string& from, const std::string& to) {
  Add(from + ": was changed by someone else before what was written here could be sent; that is " +
      "stored as " + to);
  Lock lock(mutex_);
  if (on_redirect_) on_redirect_(from, to);
}

void Announcements::OnRedirect(Listener listener) {
  Lock lock(mutex_);
  on_redirect_ = std::move(listener);
}

std::vector<std::string> Announcements::Lines() {
  Lock lock(mutex_);
  return {lines_.begin(), lines_.end()};
}

}  // namespace b2drive::mount
