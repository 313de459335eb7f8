#pragma once

#include <functional>
#include <string>

#include "host/transfer/crew.h"
#include "host/transfer/sync_plan.h"

namespace b2drive {

// One direction's way to do what is planned. All throw HostError. Any number of threads may call.
class SyncSteps {
 public:
  virtual ~SyncSteps() = default;

  // Whether the contents on both sides are not the same; when they are, that is remembered.
  virtual bool Differs(const SyncAction& action) = 0;
  // Does it, and remembers a file that is the same on both sides then. False when there was nothing
  // to do.
  virtual bool Do(const SyncAction& action) = 0;
  // Whether a folder can be deleted only when what is in it is gone.
  virtual bool FoldersMustBeEmpty() const = 0;
};

struct SyncRules {
  std::size_t jobs = 16;  // at the same time
  DeletionLimit limit;
  bool complete = true;  // the trees are all there is; else nothing is deleted
  bool dry_run = false;  // what would be done is only told
};

// Does what a plan says, several things at once.
class SyncRun {
 public:
  // Is told of each change when it is done, from any thread.
  using Teller = std::function<void(const SyncAction& action)>;

  // All but the rules is borrowed. `command` begins the lines of failures.
  SyncRun(std::string command, const Transfers& transfers, SyncSteps& steps, SyncRules rules,
          const Teller& tell)
      : command_(std::move(command)),
        transfers_(transfers),
        steps_(steps),
        rules_(rules),
        tell_(tell) {}

  // Each failure is printed, and the rest goes on; but unless all went well and no more is to be
  // deleted than the limit allows, nothing is deleted. kSuccess, kPartly, kNotConfirmed because of
  // that limit; throws as Crew::Finish.
  ExitCode Run(const SyncPlan& plan);

 private:
  ExitCode DoAll(const std::vector<SyncAction>& actions, const char* done);
  void DoOne(const SyncAction& action);
  ExitCode Delete(const SyncPlan& plan);
  bool MayDelete(const SyncPlan& plan) const;

  const std::string command_;
  const Transfers& transfers_;
  SyncSteps& steps_;
  const SyncRules rules_;
  const Teller& tell_;
};

}  // namespace b2drive
