#include "host/plugin/directory_cache.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <map>
#include <thread>

#include "host/common/fs_error.h"
#include "host/mount/files/mountable.h"
#include "host/mount/files/scan_watch.h"
#include "host/mount/files/time_book.h"

namespace b2drive::mount {
namespace {

class DirectoryCacheTest : public testing::Test {
 protected:
  void Ask(const std::string& id, const std::string& path, ListingReceiver& receiver) {
    ++asked_[path];
    EXPECT_EQ(id, path == "/" ? "" : "B" + path.substr(2));
    if (path == "/") {
      receiver.Take({"b", "B", true, 0, {}});
    } else {
      if (meanwhile_) meanwhile_();
      for (const Entry& entry : listing_) receiver.Take(entry);
    }
  }
  static std::string Show(const std::optional<Entry>& entry) {
    return !entry ? "none" : entry->folder ? "folder" : std::to_string(entry->size);
  }
  std::string Find(const std::string& path) { return Show(cache_.Find(path)); }

  Listing listing_ = {{"f", "B/1", false, 5, {}},      {"both", "B/2", false, 6, {}},
                      {"both", "B/both", true, 0, {}}, {"htob", "B/htob", true, 0, {}},
                      {"htob", "B/3", false, 7, {}},   {"", "B/4", false, 1, {}},
                      {"..", "B/5", false, 1, {}},     {"a/b", "B/6", false, 1, {}}};
  std::map<std::string, std::atomic<int>> asked_;
  std::function<void()> meanwhile_;
  const DirectoryCache::Lister lister_ = [this](auto&... names) { Ask(names...); };
  DirectoryCache cache_{lister_, SameNames::kBoth, std::chrono::seconds(1000), 99};
};

TEST_F(DirectoryCacheTest, OneListingAnswersForAllNames) {
  // A path, what it means, and the folder of that name.
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {"/b", "folder", "folder"}, {"/c", "none", "none"},     {"/b/f", "5", "none"},
      {"/b/both", "6", "folder"}, {"/b/htob", "7", "folder"}, {"/b/F", "none", "none"}};
  for (const auto& [path, found, folder] : rows) {
    EXPECT_EQ(Find(path) + Show(cache_.FindFolder(path)), found + folder) << path;
  }
  EXPECT_TRUE(std::ranges::equal(cache_.List("/b"), listing_, {}, &Entry::id, &Entry::id));
  EXPECT_EQ(cache_.FolderId("/b/new/deep"), "B/new/deep");
  EXPECT_THROW(cache_.FolderId("/c/new"), FsError);
  EXPECT_EQ(asked_["/"] + asked_["/b"], 2);
}

TEST_F(DirectoryCacheTest, AFileSystemShowsOneOfANameAndNoneThatItCannotHold) {
  listing_.push_back({std::string("a\0b", 3), "B/7", false, 1, {}});
  listing_.push_back({std::string(256, 'x'), "B/8", false, 1, {}});
  DirectoryCache shown(
      [this](auto& id, auto& path, ListingReceiver& receiver) {
        MountableNames names(receiver, path);
        Ask(id, path, names);
      },
      SameNames::kFolderOnly, std::chrono::seconds(1000), 99);
  const std::vector<std::string> ids = {"B/1", "B/both", "B/htob"};
  EXPECT_TRUE(std::ranges::equal(shown.List("/b"), ids, {}, &Entry::id));
}

TEST_F(DirectoryCacheTest, OwnChangesShowAlsoWhenMadeDuringAListing) {
  auto change = [this](const std::string& added, const std::string& removed) {
    cache_.Put(added, {"", "B/9", false, 9, {}});
    cache_.Remove(removed);
  };
  meanwhile_ = [&] { change("/b/new", "/b/f"); };
  EXPECT_EQ(Find("/b/new") + Find("/b/f"), "9none");
  change("/b/newer", "/b/both");
  EXPECT_EQ(Find("/b/newer") + Find("/b/both"), "9none");
  cache_.PutEmptyFolder("/b/made", "B/made");
  EXPECT_TRUE(cache_.IsKnownEmpty("/b/made"));
  EXPECT_FALSE(cache_.HasSiblings("/b/made/only"));
  EXPECT_EQ(asked_["/b"] + asked_["/b/made"], 1);
  meanwhile_ = nullptr;
  cache_.Forget("/b");
  EXPECT_EQ(Find("/b/f") + Find("/b/new"), "5none");
}

TEST_F(DirectoryCacheTest, WhatIsForgottenDuringItsListingIsListedAgain) {
  Find("/b");
  meanwhile_ = [&] { cache_.Forget("/b"); };
  EXPECT_EQ(Find("/b/f"), "5");
  meanwhile_ = nullptr;
  listing_.clear();
  EXPECT_EQ(Find("/b/f"), "none");
}

TEST_F(DirectoryCacheTest, AFailedListingFailsAllThatWaitAndIsAskedAgain) {
  constexpr int kReaders = 8;
  std::atomic<int> started = 0;
  Find("/b");
  meanwhile_ = [&] {
    while (started < kReaders) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // the others come to wait
    throw FsError(EIO, "away");
  };
  std::vector<std::future<void>> readers(kReaders);
  for (auto& reader : readers) {
    reader = std::async(std::launch::async, [&] {
      ++started;
      EXPECT_THROW(cache_.Find("/b/f"), FsError);
    });
  }
  readers.clear();
  EXPECT_LT(asked_["/b"], kReaders);
  meanwhile_ = nullptr;
  EXPECT_EQ(Find("/b/f"), "5");
}

TEST_F(DirectoryCacheTest, AListingThatIsTooOldIsNotBelieved) {
  DirectoryCache forgetful(lister_, SameNames::kBoth, std::chrono::seconds(0), 99);
  EXPECT_TRUE(forgetful.Find("/b/f"));
  listing_.clear();
  EXPECT_FALSE(forgetful.Find("/b/f"));
}

TEST_F(DirectoryCacheTest, AScanInOrderTellsWhatComesNext) {
  using Paths = std::vector<std::string>;
  listing_.clear();
  for (char name = 'a'; name <= 'p'; ++name) {
    listing_.push_back({{name}, std::string("B/") + name, name % 2 == 0, 1, {}});  // b: a folder
  }
  cache_.List("/b");
  ScanWatch folders(cache_, ScanWatch::Kind::kFolders);
  ScanWatch files(cache_, ScanWatch::Kind::kFiles);
  // Out of order; once more, which is no step; in order; and back.
  const Paths order = {"/b/a", "/b/e", "/b/g", "/b/g", "/b/i", "/b/k", "/b/a"};
  for (const auto& path : order) {
    const Paths next = path == "/b/i" ? Paths{"/b/k", "/b/m", "/b/o"} : Paths{};
    EXPECT_EQ(files.Next(path), next) << path;
  }
  for (const char* path : {"/b/b", "/b/d"}) EXPECT_EQ(folders.Next(path), Paths{});
  EXPECT_EQ(folders.Next("/b/f"), (Paths{"/b/h", "/b/j", "/b/l", "/b/n", "/b/p"}));
  EXPECT_EQ(asked_["/b"], 1);
  // Down a tree each step counts, and the next folder's own come with its siblings.
  ScanWatch down(cache_, ScanWatch::Kind::kFolders);
  for (const char* folder : {"/b/b", "/b/b/d"}) cache_.List(folder);
  for (const char* path : {"/b", "/b/b"}) EXPECT_EQ(down.Next(path), Paths{});
  const Paths next = down.Next("/b/b/b");
  EXPECT_EQ(next.front() + next.back(), "/b/b/d/b/b/b/p");
}

TEST(TimeBookTest, KeepsOfVeryManyTimesThoseSetLast) {
  constexpr int kMany = 400'000;
  TimeBook times;
  for (int i = 0; i < kMany; ++i) times.Set(std::to_string(i), "", {});
  EXPECT_FALSE(times.Find("0", ""));
  EXPECT_TRUE(times.Find(std::to_string(kMany - 1), ""));
}

}  // namespace
}  // namespace b2drive::mount
