#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/common/thread_safety.h"

namespace b2drive::mount {

// Keeps operations away from folders that are being moved. Thread-safe.
class PathGate {
 public:
  // An operation on one path or two, which must outlive it. Making one waits while they are closed,
  // and where operations are run again, throws NamesChanged then; an operation makes only one.
  class Pass {
   public:
    Pass(PathGate& gate, std::string_view path, std::string_view other = {});
    // Also waits while a folder moves into `folder` or out of it.
    static Pass ToList(PathGate& gate, std::string_view folder) { return {gate, folder, {}, true}; }
    ~Pass();
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;

   private:
    Pass(PathGate& gate, std::string_view path, std::string_view other, bool lists);

    PathGate& gate_;
    std::multiset<std::string_view>::iterator path_;
    std::multiset<std::string_view>::iterator other_;
  };

  // Closes two folders, with all that is below them, while it lives. Making one waits for the
  // operations that are in there, and for other closures as a Pass does.
  class Closure {
   public:
    Closure(PathGate& gate, std::string from, std::string to);
    ~Closure();
    Closure(const Closure&) = delete;
    Closure& operator=(const Closure&) = delete;

   private:
    friend class PathGate;

    bool Covers(std::string_view path) const;
    bool Changes(std::string_view folder) const;
    bool Meets(const Closure& other) const;

    PathGate& gate_;
    const std::string from_;
    const std::string to_;
  };

 private:
  bool IsClosed(std::string_view path, bool lists) const B2_REQUIRES(mutex_);

  Mutex mutex_;
  Condition changed_;
  std::multiset<std::string_view> inside_ B2_GUARDED_BY(mutex_);
  std::vector<const Closure*> closures_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
