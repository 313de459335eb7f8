#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <map>
#include <random>
#include <thread>

#include "host/common/fs_error.h"
#include "host/common/waiting.h"
#include "host/common/workers.h"
#include "host/plugin/directory_cache.h"

namespace b2drive {
namespace {

using Names = std::vector<std::string>;

std::string Numbered(int i) { return "f" + std::to_string(10'000 + i); }
Names Numbered(int first, int end) {
  Names names;
  for (int i = first; i < end; ++i) names.push_back(Numbered(i));
  return names;
}
Entry File(const std::string& name, std::uint64_t size = 1) {
  return {name, "B/4_zB_" + name, false, size, {1'700'000'000, 123'000'000}, {-1, 999'000'000}};
}
bool SameEntry(const Entry& one, const Entry& other) {
  return one.name == other.name && one.id == other.id && one.size == other.size &&
         one.modified.tv_sec == other.modified.tv_sec &&
         one.uploaded.tv_sec == other.uploaded.tv_sec &&
         one.uploaded.tv_nsec == other.uploaded.tv_nsec && one.folder == other.folder;
}

// Entries come and go in any order; a table agrees with a map at any time, and what was handed out
// stays as it was.
TEST(NameTableTest, AgreesWithAMap) {
  constexpr int kSteps = 20'000;
  std::mt19937 random(1);
  NameTable table;
  std::map<std::string, Entry> model;
  for (int step = 0; step < kSteps; ++step) {
    if (step == kSteps / 4) table.Seal();
    std::string name = std::to_string(random() % 2000);
    if (random() % 2 == 0) name.insert(name.size() / 2, 1, "-/\xff"[random() % 3]);
    const NameTable::Run run = table.Behind(name);
    const std::string seen = run.piece ? std::string(run.piece->Name(run.first)) : "";
    Entry entry = File(name, step);
    entry.id += std::to_string(step % 3);
    if (random() % 2 == 0) entry = {name, "B/some/where/" + name, true, 0, {}, {}};
    const auto key = [&](bool folder) { return name + "/" + (folder ? '\1' : '\0'); };
    if (random() % 3 == 0) {
      table.Erase(name);
      model.erase(key(false));
      model.erase(key(true));
    } else {
      ASSERT_EQ(table.Insert(entry, step), model.emplace(key(entry.folder), entry).second) << name;
    }
    const auto found = table.Find(name, entry.folder);
    ASSERT_EQ(found.has_value(), model.contains(key(entry.folder)));
    ASSERT_TRUE(!found || SameEntry(*found, model[key(entry.folder)])) << name;
    ASSERT_EQ(run.piece ? std::string(run.piece->Name(run.first)) : "", seen);
  }
  auto at = model.begin();
  table.Visit([&](auto& entries, std::size_t i) { return SameEntry(entries.At(i), at++->second); });
  EXPECT_TRUE(at == model.end());
  EXPECT_EQ(table.size(), model.size());
}

TEST(NameTableTest, APieceThatBecomesTheLastOneAgainIsNotTouched) {
  NameTable table;
  for (const std::string& name : Numbered(0, 300)) table.Insert(File(name), 0);
  table.Erase(Numbered(0));
  const NameTable::Run run = table.Behind(std::nullopt);
  const std::size_t size = run.piece->size();
  for (const std::string& name : Numbered(static_cast<int>(size) + 1, 300)) table.Erase(name);
  table.Insert(File("g"), 0);
  EXPECT_EQ(run.piece->size(), size);
  EXPECT_EQ(table.size(), size + 1);
}

// A service that gives the names up to a mark, and the others when it moves.
class FolderReadingTest : public testing::Test {
 protected:
  ~FolderReadingTest() override { GoOn(100'000); }

  void List(const std::string& path, ListingReceiver& receiver) {
    receiver.StartOver();
    if (path == "/") return void(receiver.Take({"b", "B", true, 0, {}}));
    ++listings_;
    for (int i = 0; i < static_cast<int>(names_.size()); ++i) {
      while (mark_ <= i) std::this_thread::yield();
      if (i == fails_at_) throw FsError(EIO, "away");
      if (i == begins_anew_at_) {
        receiver.StartOver();
        begins_anew_at_ = i = -1;
        continue;
      }
      EXPECT_TRUE(receiver.Take(File(names_[static_cast<std::size_t>(i)])));
    }
  }
  void GoOn(int mark) { mark_ = mark; }
  Names Read(FolderReading& reading, std::uint64_t from = 0, std::size_t most = SIZE_MAX) {
    Names names;
    while (names.size() < most) {
      const NameTable::Run run = cache_.ReadFrom(reading, from + names.size());
      if (!run.piece) break;
      for (std::size_t i = run.first; i < run.piece->size() && names.size() < most; ++i) {
        names.emplace_back(run.piece->Name(i));
      }
    }
    return names;
  }

  Names names_ = Numbered(0, 5000);
  std::atomic<int> mark_ = 1000;
  std::atomic<int> begins_anew_at_ = -1;
  int fails_at_ = -1;
  std::atomic<int> listings_ = 0;
  DirectoryCache cache_{[this](auto&, auto& path, auto& receiver) { List(path, receiver); },
                        SameNames::kFolderOnly, std::chrono::seconds(1000), 100'000,
                        [this](auto task) { workers_.Run(task); }};
  Workers workers_{4};
};

TEST_F(FolderReadingTest, BeginsWithTheFirstPageAndSharesTheListing) {
  const auto one = cache_.StartReading("/b");
  const auto two = cache_.StartReading("/b");
  EXPECT_EQ(Read(*one, 0, 700), Numbered(0, 700));
  EXPECT_EQ(Read(*two, 0, 10), Numbered(0, 10));
  EXPECT_EQ(cache_.Find("/b/" + Numbered(5))->id, "B/4_zB_" + Numbered(5));
  {
    const NoWaiting here;
    EXPECT_THROW(Read(*one, 700), WouldWait);
    EXPECT_THROW(cache_.Find("/b/" + Numbered(3000)), WouldWait);
  }
  GoOn(5000);
  EXPECT_EQ(Read(*one, 700), Numbered(700, 5000));
  EXPECT_EQ(Read(*two, 5), Numbered(5, 5000));  // back, and to the end
  EXPECT_EQ(cache_.List("/b").size(), 5000u);
  EXPECT_EQ(listings_, 1);
}

TEST_F(FolderReadingTest, WhatChangesAheadShowsAndNothingComesTwice) {
  const auto reading = cache_.StartReading("/b");
  Names names = Read(*reading, 0, 300);
  for (int i : {100, 900, 4000}) cache_.Remove("/b/" + Numbered(i));
  for (const char* added : {"f10050a", "f10950a", "f13950a"}) {
    cache_.Put(std::string("/b/") + added, File(""));
  }
  begins_anew_at_ = 2000;
  GoOn(5000);
  for (const std::string& name : Read(*reading, 300)) names.push_back(name);
  Names expected = Numbered(0, 5000);
  for (int i : {900, 4000}) std::erase(expected, Numbered(i));
  for (const char* added : {"f10950a", "f13950a"}) expected.emplace_back(added);
  std::ranges::sort(expected);
  EXPECT_EQ(names, expected);
  EXPECT_FALSE(cache_.Find("/b/" + Numbered(100)));
  EXPECT_TRUE(cache_.Find("/b/f10050a"));
  EXPECT_EQ(cache_.List("/b").size(), 5000u);
}

TEST_F(FolderReadingTest, AFailureOnTheWayIsToldWhereTheNamesEnd) {
  fails_at_ = 2500;
  const auto reading = cache_.StartReading("/b");
  EXPECT_EQ(Read(*reading, 0, 500), Numbered(0, 500));
  GoOn(5000);
  EXPECT_THROW(Read(*reading, 500), FsError);
  EXPECT_EQ(Read(*reading, 400, 100), Numbered(400, 500));
  workers_.Finish();
  fails_at_ = -1;
  EXPECT_EQ(Read(*cache_.StartReading("/b")).size(), 5000u);
}

TEST_F(FolderReadingTest, NamesOutOfOrderAreNotLost) {
  names_.insert(names_.begin() + 3000, {"a", "f", "f.txt", "f10001x"});
  const auto reading = cache_.StartReading("/b");
  Names names = Read(*reading, 0, 700);
  GoOn(10'000);
  for (const std::string& name : Read(*reading, 700)) names.push_back(name);
  EXPECT_EQ(Read(*reading), names);
  std::ranges::sort(names);
  Names expected = names_;
  std::ranges::sort(expected);
  EXPECT_EQ(names, expected);
}

TEST_F(FolderReadingTest, AListingThatIsForgottenIsNotSharedAnyMore) {
  const auto before = cache_.StartReading("/b");
  cache_.Forget("/b");
  auto after = std::async(std::launch::async, [&] { return Read(*cache_.StartReading("/b")); });
  GoOn(5000);
  EXPECT_EQ(Read(*before).size() + after.get().size(), 10'000u);
  EXPECT_EQ(listings_, 2);
}

}  // namespace
}  // namespace b2drive
