#include <climits>
#include <iostream>

#include "tests/mount/faulty_disk.h"
#include "tests/mount/file_system_test.h"

namespace b2drive::mount {
namespace {

namespace fs = std::filesystem;
using Left = FaultyDisk::Left;
// "a+" is what stands beside "a" because it could not take its place.
using World = Contents;

// Programs: open (a new, empty file), write, flush and close a name, save is all of these; move,
// unlink. The service: down, up (for uploads). Another client: put. The mount: send (all that
// waits), kill (and mount again).
struct Scenario {
  const char* name;
  const char* lines;
  bool in_background = false;  // run for closes of both kinds, as the long run does with all
};

const Scenario kScenarios[] = {
    {"Saved", "save a 1, save a 22, save a", true},
    {"SentLater", "down, save a 1, up, send"},
    {"Replaced", "save a 0, down, save a 1, up, save a 22", true},
    {"ReplacedWaiting", "down, save a 1, save a 22, up, send, save a 333", true},
    {"ManyWait", "down, save a 1, save b 22, save c 333, save d 4444", true},
    {"ClosedEmpty", "open a, flush a, close a, save a 1"},
    {"Emptied", "save a 1, open a, flush a, write a 22, flush a, close a"},
    {"EmptiedWaiting", "down, save a 1, open a, flush a, close a, up, send"},
    {"WrittenOn", "down, open a, write a 1, flush a, write a 22, up, flush a, close a"},
    {"WrittenOnWaiting",
     "open a, write a 1, down, flush a, write a 22, flush a, write a 333, close a, up, send", true},
    {"Mapped", "save a 1, open a, write a 22, close a, send"},
    {"MappedWaiting", "down, save a 1, open a, write a 22, close a, up, send"},
    {"Moved", "save a 1, move a b, save a 22"},
    {"MovedWaiting", "down, save a 1, move a b, up, send, save a 22", true},
    {"MovedNewerWaits", "save a 1, down, save a 22, up, move a b, send"},
    {"MovedTwoWait", "down, save a 1, save a 22, move a b, save a 333, up, send"},
    {"MovedOver", "save b 1, save a 22, move a b, save a 333"},
    {"MovedOverWaiting", "save a 1, down, save b 22, up, move a b, send"},
    {"MovedOverNewerWaits",
     "save a 1, save b 22, down, save b 333, save a 4444, up, move a b, send"},
    {"MovedOverBothWait", "down, save a 1, save b 22, move a b, up, send", true},
    {"Unlinked", "save a 1, unlink a, save b 22"},
    {"UnlinkedWaiting", "save a 1, down, save a 22, unlink a, up, send"},
    {"UnlinkedTwoWait", "down, save a 1, save a 22, unlink a, save b 333, kill"},
    {"UnlinkedAndMadeAnew", "down, save a 1, unlink a, save a 22, up, send", true},
    {"Interleaved",
     "open a, open b, write a 1, write b 22, down, flush b, flush a, write b 333, flush b, up, "
     "close a, flush b, close b, send"},
    {"SparesReused",
     "down, save a 1, save b 22, up, send, down, save b 1, save a 22, up, move a c, send"},
    {"Redirected", "save a 1, down, save a 22, put a 333, up, send, save a 4444", true},
    {"RedirectedAlike", "save a 1, down, save a 22, put a 22, up, send, save a 333"},
    {"RedirectedTwoWait", "down, save a 1, save a 22, put a 333, up, send"},
    {"Recovered", "down, save a 1, save b 22, kill, save a 333, kill, up, send", true},
    {"RecoveredMapped", "down, open a, write a 1, close a, open b, flush b, close b, kill, kill"},
    {"RecoveredRedirected", "down, save a 1, kill, put a 22, kill, up, send"},
    {"RecoveredMoved", "down, save a 1, kill, move a b, kill, unlink b, kill"},
};

// What happens at an operation of the disk, and what the next mount finds.
struct Trouble {
  int at = INT_MAX;
  int error = 0;  // 0: the power is cut, or the mount is killed
  Left left = Left::kSynced;
  bool same_boot = false;
  unsigned seed = 0;  // not 0: the recovery is disturbed in the same way
  bool log = true;    // or each file is synced by itself, as large ones are
};

using Case = std::pair<Scenario, Saving>;

class PowerCutTest : public FileSystemTest, public testing::WithParamInterface<Case> {
 protected:
  ~PowerCutTest() override { End(); }

  // Gives the number of operations.
  int Run(const Trouble& trouble) {
    std::ostringstream where;
    where << "operation " << trouble.at << ", errno " << trouble.error << ", left "
          << static_cast<int>(trouble.left) << ", same boot " << trouble.same_boot << ", seed "
          << trouble.seed << ", log " << trouble.log;
    const testing::ScopedTrace trace(__FILE__, __LINE__, where.str());
    Start(trouble);
    std::istringstream lines(GetParam().first.lines);
    for (std::string text; !disk_->off && std::getline(lines, text, ',');) {
      Line line;
      std::istringstream(text) >> line.verb >> line.name >> line.text;
      Step(line);
    }
    if (trouble.error != 0) {
      Heal();
      down_ = false;
      disk_->DisturbAt(INT_MAX, 0);  // this run may have made fewer operations than the first
      Step({"save", "z", "works"});
      EXPECT_THAT(worlds_, testing::Each(testing::Contains(testing::Key("z"))));
    }
    disk_->off = true;
    Fail("", 503, kAlways);
    End();
    Heal();
    Recover(trouble);
    EXPECT_TRUE(files->Drain().empty());
    EXPECT_THAT(worlds_, testing::Contains(Seen()));
    End();
    for (const auto& file : CacheFiles()) {
      // Also what the disk lost, and a later mount could not know of.
      const bool told =
          disk_->gave_up && file.parent_path().filename() == "aside" && file.extension() != ".log";
      EXPECT_TRUE(told || file.extension() == ".spare" || file.filename() == "log") << file;
    }
    return disk_->operations;
  }

  const bool all_ = getenv("B2_MOUNT_TEST_LONG") != nullptr;
  int runs_ = 0;

 private:
  struct Line {
    std::string verb, name, text;
  };

  void Start(const Trouble& trouble) {
    constexpr unsigned kPatience = 120;  // seconds, after which a run hangs
    alarm(kPatience);
    End();
    Heal();
    service->ClearRequests();
    for (const auto& [name, text] : Stored()) Remove(name);
    cache_ = folder_.path / std::to_string(++runs_);
    disk_ = std::make_unique<FaultyDisk>(cache_);
    disk_->DisturbAt(trouble.at, trouble.error, [this] { Fail("", 503, kAlways); });
    worlds_ = {{}};
    unflushed_.clear();
    down_ = false;
    unseen_.clear();
    same_boot_ = trouble.same_boot;
    options.saving = GetParam().second;
    options.log_size = options.saving == Saving::kInBackground ? 1000 : 9000;  // 2 files, and all
    if (!trouble.log) options.log_size = 0;
    disk = disk_.get();
    boot = "first";
    Mount();
  }

  void End() {
    if (files) files->Hurry();
    open_.clear();
    files.reset();
  }

  bool Waits(Text name) { return std::ranges::count(files->Waiting(), At(name), &Delay::path) > 0; }

  std::string StoredUnder(Text name) {
    const auto stored = Stored();
    const auto found = stored.find(name);
    return found != stored.end() ? found->second : "none";
  }

  int Restart() {
    disk_->off = true;
    End();
    disk_->off = false;
    const int error = Try([&] { Mount(); });
    if (error != 0 && !disk_->off) Mount();
    return 0;
  }

  int Act(const Line& line) {
    const auto& [verb, name, text] = line;
    const auto open = open_.find(name);
    if (verb == "save" || verb == "move" || verb == "unlink") {
      return Do(verb + " " + name + " " + text);
    }
    if (verb == "kill") return Restart();
    if (verb == "put") Put(name, text);
    if (verb == "put" && disk_->disturbed) unseen_ = name;
    if (verb == "down") Fail("b2_upload_file", 500, kAlways);
    if (verb == "up") Heal();
    if (verb == "send") return static_cast<int>(files->Drain().size());
    if (verb == "open") return Try([&] { open_[name] = Create(name); });
    const bool needs_open = verb == "write" || verb == "flush" || verb == "close";
    if (open == open_.end()) return needs_open ? EBADF : 0;
    Handle& handle = *open->second;
    if (verb == "write") return Try([&] { files->Write(handle, 0, text.data(), text.size()); });
    if (verb == "flush") return Try([&] { files->Flush(handle); });
    Close(std::move(open->second));
    open_.erase(open);
    return 0;
  }

  // What a line makes of a world, step by step.
  std::vector<World> Passes(const Line& line, const World& from) {
    const auto& [verb, name, text] = line;
    std::vector<World> passed;
    World world = from;
    const auto set = [&](const std::string& changed, const std::string& contents) {
      world[changed] = contents;
      passed.push_back(world);
    };
    if (verb == "save") {
      if (disk_->disturbed && !disk_->off) set(name, "");  // it could not be written
      world = from;
      set(waits_ && from.contains(name + "+") ? name + "+" : name, text);
    } else if (unflushed_.contains(name) && (verb == "flush" || verb == "close")) {
      set(name, unflushed_[name]);
    } else if (verb == "put") {
      if (waits_ && from.contains(name) && from.at(name) != text) set(name + "+", from.at(name));
      set(name, text);
    } else if (verb == "move" && from.contains(name)) {
      // The stored version goes first, and what waits in its new place beside that; what waits on
      // top of it follows.
      for (const bool aside : {true, false}) {
        if (stored_ == "none") break;
        world = from;
        if (aside && from.contains(text)) world[text + "+"] = from.at(text);
        set(text, stored_);
        set(text, from.at(name));
        set(name, stored_);
        world.erase(name);
        set(text, from.at(name));
      }
      world.erase(name);
      set(text, from.at(name));
    } else if (verb == "unlink") {
      world.erase(name);
      passed.push_back(world);
    }
    return passed;
  }

  // What the mount sends by itself has been tried once, or cannot be.
  void Rest() {
    const auto busy = [](const Delay& one) { return one.sending || one.failures == 0; };
    for (int i = 0; i < 50 && !disk_->off; ++i) {
      if (std::ranges::none_of(files->Waiting(), busy)) return;
      usleep(1000);
    }
  }

  void Step(Line line) {
    const auto& [verb, name, text] = line;
    Rest();
    const bool disturbed_before = disk_->disturbed;
    waits_ = Waits(name);
    stored_ = StoredUnder(name);
    const bool keeps = options.saving == Saving::kInBackground;
    const auto unflushed = unflushed_.find(name);
    const bool written = unflushed != unflushed_.end() && unflushed->second != "";
    const bool closes = verb == "save" || (verb == "flush" && written);
    const bool fails = down_ && closes && !keeps;
    const int result = Act(line);
    Rest();
    if (result == 0 && (verb == "open" || verb == "write")) unflushed_[name] = text;
    if (verb == "down" || verb == "up") down_ = verb == "down";
    if (!disk_->disturbed) {
      EXPECT_EQ(result, fails ? EIO : 0) << verb << " " << name;
    }
    // What is written when the last descriptor is closed is not acknowledged to anyone.
    const bool kept = fails && disk_->disturbed == disturbed_before;
    const bool certain =
        (!disk_->off && (result == 0 || kept) && (verb != "close" || same_boot_)) ||
        (keeps && closes && result == 0);
    std::set<World> next;
    for (const World& world : worlds_) {
      const auto passed = Passes(line, world);
      if (!certain) next.insert(passed.begin(), passed.end());
      next.insert(certain && !passed.empty() ? passed.back() : world);
      if (verb != "save" || !keeps || name != unseen_) continue;
      World beside = world;
      beside[name + "+"] = text;
      next.insert(beside);
    }
    worlds_ = std::move(next);
    if (verb == "flush" || verb == "close") unflushed_.erase(name);
    if (verb == "send" && certain) {
      EXPECT_THAT(worlds_, testing::Contains(Seen()));
      worlds_ = {Seen()};
    }
  }

  World Seen() {
    World seen;
    for (const auto& [name, text] : Stored()) {
      const auto aside = name.find(" (unsent ");
      seen[aside == std::string::npos ? name : name.substr(0, aside) + "+"] = text;
    }
    return seen;
  }

  void Recover(const Trouble& trouble) {
    constexpr unsigned kMost = 9;
    const auto next_boot = [&](const FaultyDisk& from) {
      const fs::path left = cache_.string() + "-";
      from.Leave(left, trouble.left, trouble.seed);
      if (!trouble.same_boot) boot += "+";
      cache_ = left;
    };
    next_boot(*disk_);
    if (trouble.seed != 0) {
      FaultyDisk second(cache_);
      second.DisturbAt(static_cast<int>(trouble.seed % kMost) + 1, 0);
      Try([&] { Spool(second, cache_ / "spool", boot).Recover(); });
      next_boot(second);
    }
    Spool(SystemDisk(), cache_ / "spool", boot).Recover();
    disk = &SystemDisk();
    Mount();
  }

  std::unique_ptr<FaultyDisk> disk_;
  std::set<World> worlds_;  // that may be there
  std::map<std::string, HandlePtr> open_;
  std::map<std::string, std::string> unflushed_;
  std::string stored_;  // under the line's name, before it
  std::string unseen_;  // what another client put, if what was to wait may not have led to a look
  bool waits_ = false;  // the line's name
  bool down_ = false;
  bool same_boot_ = false;
};

TEST_P(PowerCutTest, WhatWasAcknowledgedIsThereAndNothingOlder) {
  const unsigned seeds = all_ ? 20 : 1;
  const int operations = Run({});
  for (int at = 1; at <= operations; ++at) {
    for (unsigned i = 0; i < seeds; ++i) {
      const auto seed = static_cast<unsigned>(at) + i * 1000;
      Run({at, 0, Left::kWritten, true, i == 0 && at % 2 == 0 ? 0 : seed});
      Run({at, 0, Left::kMixed, false, seed});
    }
    Run({at, 0, Left::kSynced, false, 0});
    Run({at, 0, Left::kWritten, false, 0});
  }
  std::cout << runs_ << " cuts\n";
}

TEST_P(PowerCutTest, WhatFailsOnceLosesNothingThatIsAcknowledged) {
  constexpr int kErrors[] = {EIO, ENOSPC, EDQUOT, EMFILE};
  const int operations = Run({});
  for (int at = 1; at <= operations; ++at) {
    for (int i = 0; i < (all_ ? 4 : 1); ++i) {
      const int error = kErrors[(at + i) % 4];
      Run({at, error, (at / 4) % 2 == 0 ? Left::kSynced : Left::kWritten, (at / 4) % 2 != 0, 0});
    }
  }
  for (const bool log : {true, false}) {
    const int count = Run({INT_MAX, 0, Left::kSynced, false, 0, log});
    for (int at = 1; at <= count; ++at) Run({at, EIO, Left::kSynced, false, 0, log});
  }
  std::cout << runs_ << " failures\n";
}

std::vector<Case> CasesOf(Saving saving) {
  const bool all = saving == Saving::kAtClose || getenv("B2_MOUNT_TEST_LONG") != nullptr;
  std::vector<Case> cases;
  for (const Scenario& one : kScenarios) {
    if (all || one.in_background) cases.emplace_back(one, saving);
  }
  return cases;
}

std::string TitleOf(const testing::TestParamInfo<Case>& one) { return one.param.first.name; }

INSTANTIATE_TEST_SUITE_P(Disk, PowerCutTest, testing::ValuesIn(CasesOf(Saving::kAtClose)), TitleOf);
INSTANTIATE_TEST_SUITE_P(Background, PowerCutTest,
                         testing::ValuesIn(CasesOf(Saving::kInBackground)), TitleOf);

}  // namespace
}  // namespace b2drive::mount
