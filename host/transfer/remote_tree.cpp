#include "host/transfer/remote_tree.h"

#include <algorithm>
#include <exception>
#include <tuple>
#include <utility>

#include "host/common/path.h"
#include "host/common/thread_safety.h"
#include "host/common/workers.h"

namespace b2drive {
namespace {

constexpr std::size_t kListings = 16;       // at once
constexpr std::size_t kLongestPath = 1024;  // of an object, in bytes

class Walk {
 public:
  Walk(PatientDrive& drive, const std::string& root, const Filter& filter,
       const std::function<void(RemoteItem)>& visit)
      : drive_(drive), root_(root), filter_(filter), visit_(visit) {}

  void Run(const Entry& folder) {
    Add({"", folder});
    workers_.Finish();
    Lock lock(mutex_);
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  void Add(RemoteItem folder) {
    workers_.Run([this, folder = std::move(folder)] {
      try {
        if (!HasFailed()) List(folder);
      } catch (...) {
        Lock lock(mutex_);
        if (!failure_) failure_ = std::current_exception();
      }
    });
  }

  bool HasFailed() {
    Lock lock(mutex_);
    return failure_ != nullptr;
  }

  void List(const RemoteItem& folder) {
    const std::string path = folder.path.empty() ? root_ : Join(root_, folder.path);
    RefuseEndless(path);
    for (Entry& entry : drive_.List(folder.entry.id, path)) {
      std::string inner = folder.path.empty() ? entry.name : folder.path + "/" + entry.name;
      if (filter_.Takes(inner, entry.folder)) Visit({std::move(inner), std::move(entry)});
    }
  }

  void Visit(RemoteItem item) {
    const bool go_down = item.entry.folder && !item.entry.name.empty();
    RemoteItem folder = go_down ? item : RemoteItem();
    {
      Lock lock(mutex_);
      if (failure_) return;
      visit_(std::move(item));
    }
    if (go_down) Add(std::move(folder));
  }

  PatientDrive& drive_;
  const std::string root_;
  const Filter& filter_;
  const std::function<void(RemoteItem)>& visit_;
  Mutex mutex_;  // held while an item is visited
  std::exception_ptr failure_ B2_GUARDED_BY(mutex_);
  Workers workers_{kListings};
};

}  // namespace

void RefuseEndless(const std::string& path) {
  const std::size_t bucket = std::min(path.find('/', 1), path.size());
  if (path.size() - bucket <= kLongestPath) return;
  throw HostError(ExitCode::kFailed, path.substr(0, bucket),
                  "folders go deeper there than names can be long");
}

void WalkRemoteTree(PatientDrive& drive, const Entry& folder, const std::string& path,
                    const Filter& filter, const std::function<void(RemoteItem)>& visit) {
  Walk(drive, path, filter, visit).Run(folder);
}

std::vector<RemoteItem> ReadRemoteTree(PatientDrive& drive, const Entry& folder,
                                       const std::string& path, const Filter& filter) {
  std::vector<RemoteItem> items;
  WalkRemoteTree(drive, folder, path, filter,
                 [&](RemoteItem item) { items.push_back(std::move(item)); });
  std::ranges::sort(items, {},
                    [](const RemoteItem& item) { return std::tie(item.path, item.entry.folder); });
  return items;
}

}  // namespace b2drive
