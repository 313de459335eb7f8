#include "tests/mount/file_system_test.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <cerrno>
#include <fstream>

#include "host/mount/fs_error.h"

namespace b2drive::mount {
namespace {

using testing::AnyOf, testing::Contains, testing::ElementsAre, testing::IsEmpty;
using Texts = std::vector<std::string>;

TEST_F(FileSystemTest, WhatIsClosedIsOnTheService) {
  const std::string large(3 * kPart + 7, 'l');
  EXPECT_EQ(Write("a", "text"), 0);
  EXPECT_EQ(Append("a", " more"), 0);
  EXPECT_EQ(MakeFolder("d"), 0);
  EXPECT_EQ(Write("d/large", large), 0);
  EXPECT_EQ(Write("c", "cut here"), 0);
  EXPECT_EQ(Resize("c", 3), 0);
  EXPECT_EQ(Rename("c", "d/c"), 0);
  EXPECT_EQ(Rename("d/c", "a"), 0);
  EXPECT_EQ(Write("gone", ""), 0);
  EXPECT_EQ(Unlink("gone"), 0);
  EXPECT_EQ(Names() + "|" + Names("d"), "a d/|large");
  EXPECT_EQ(Stored(), MountedAfresh());
  EXPECT_EQ(Stored("a") + Stored("d/large"), "cut" + large);
  EXPECT_EQ(RemoveFolder("d"), ENOTEMPTY);
}

// What this mount knows of a name is up to dir_ttl old.
TEST_F(FileSystemTest, NothingIsDeletedThatAnotherClientStoredSince) {
  struct Row {
    const char* changed;
    std::function<int()> action;
  };
  const Row rows[] = {{"a", [this] { return Rename("a", "new"); }},
                      {"a", [this] { return Rename("a", "b"); }},
                      {"b", [this] { return Rename("a", "b"); }},
                      {"a", [this] { return Unlink("a"); }}};
  for (int i = 0; const Row& row : rows) {
    Put("a", "mine a");
    Put("b", "mine b");
    Remount();
    EXPECT_EQ(Names(), "a b");
    Put(row.changed, "theirs");
    const Texts before[] = {Versions("a"), Versions("b")};
    EXPECT_EQ(row.action(), ESTALE) << i;
    EXPECT_EQ(Versions("a"), before[0]) << i;
    EXPECT_EQ(Versions("b"), before[1]) << i++;
    for (const char* name : {"a", "b", "new"}) Remove(name);
  }
}

TEST_F(FileSystemTest, NoByteOfAnAnswerToAnotherRangeIsServedOrKept) {
  const std::string text = std::string(kBlock, '1') + std::string(kBlock, '2');
  for (const std::size_t answered : {kBlock, 2 * kBlock}) {
    Put("a", text);
    Remount();
    Handle& handle = Open("a");
    const auto read = [&] {
      std::string bytes(100, '\0');
      const int error =
          Errno([&] { handle.file().Read(handle.reader, kBlock, bytes.data(), bytes.size()); });
      return error == 0 ? bytes : "errno " + std::to_string(error);
    };
    AnswerWith("b2_download_file_by_id", text.substr(0, answered), -1);
    EXPECT_EQ(read(), "errno 5") << answered;
    Heal();
    EXPECT_EQ(read(), std::string(100, '2')) << answered;
  }
}

// A row: what the service holds first, what another client does while contents wait, and what must
// come of both: the name's versions, and what stands beside it.
struct Conflict {
  const char* first;
  const char* theirs;
  Texts versions;
  Texts aside;
};
const Conflict kConflicts[] = {{"base", "theirs", {"theirs", "base"}, {"mine"}},
                               {nullptr, "theirs", {"theirs"}, {"mine"}},
                               {"base", nullptr, {"mine", "base"}, {}},
                               {nullptr, nullptr, {"mine"}, {}},
                               {"base", "mine", {"mine", "base"}, {}}};

TEST_F(FileSystemTest, WhatWaitsIsNeverSentOverAnotherClientsVersion) {
  for (const bool killed : {false, true}) {
    for (const Conflict& row : kConflicts) {
      if (row.first != nullptr) Put("a", row.first);
      Remount();
      Fail("b2_upload_file", 500);
      EXPECT_EQ(Write("a", "mine"), EIO);
      if (killed) Kill();
      if (row.theirs != nullptr) Put("a", row.theirs);
      Heal();
      if (killed) Mount();
      EXPECT_THAT(Drain(), IsEmpty());
      EXPECT_EQ(Versions("a"), row.versions) << killed;
      EXPECT_EQ(Aside("a"), row.aside) << killed;
      EXPECT_EQ(Stored(), MountedAfresh());
      for (const auto& [name, text] : Stored()) Remove(name);
    }
  }
}

TEST_F(FileSystemTest, AnAnswerThatWasLostIsNotStoredTwice) {
  service->AddFault({.call = "b2_upload_file", .status = 500, .commit = true});
  EXPECT_EQ(Write("a", "mine"), EIO);
  EXPECT_THAT(Drain(), IsEmpty());
  EXPECT_EQ(Versions("a"), Texts{"mine"});
}

TEST_F(FileSystemTest, WhatALaterSaveReplacedIsNotSentAgain) {
  Fail("b2_upload_file", 500, 1);
  EXPECT_EQ(Write("a", "one"), EIO);
  EXPECT_EQ(Write("a", "two"), 0);
  Kill();
  Mount();
  EXPECT_THAT(Drain(), IsEmpty());
  EXPECT_EQ(Versions("a"), Texts{"two"});
}

TEST_F(FileSystemTest, TwoLastClosesAtOnceKeepWhatWasNotFlushed) {
  constexpr int kRounds = 150;
  for (int i = 0; i < kRounds; ++i) {
    const std::string name = std::to_string(i);
    Handle& writer = Create(name);
    Handle& other = Open(name);
    EXPECT_EQ(Write(writer, "mapped"), 0);
    CloseAtOnce(writer, other);
  }
  EXPECT_THAT(Drain(), IsEmpty());
  for (int i = 0; i < kRounds; ++i) EXPECT_EQ(Stored(std::to_string(i)), "mapped") << i;
}

TEST_F(FileSystemTest, WhatWasClosedEmptyAndThenWrittenOutlivesAKill) {
  Handle& handle = Create("a");
  EXPECT_EQ(Flush(handle), 0);
  EXPECT_EQ(Write(handle, "text"), 0);
  Kill();
  Mount();
  EXPECT_THAT(Drain(), IsEmpty());
  EXPECT_THAT(Stored("a"), AnyOf("", "text"));
}

TEST_F(FileSystemTest, AJournalThatCannotBeReadIsListedAndKept) {
  Fail("b2_upload_file", 500);
  EXPECT_EQ(Write("a", "precious"), EIO);
  Kill();
  for (const auto& file : CacheFiles()) {
    if (file.extension() == ".json") std::filesystem::resize_file(file, 5);
  }
  for (int mounts = 0; mounts < 2; ++mounts) {
    Mount();
    EXPECT_EQ(Waiting().size(), 1u);
    Unmount();
  }
  Texts kept;
  for (const auto& file : CacheFiles()) {
    std::getline(std::ifstream(file), kept.emplace_back());
  }
  EXPECT_THAT(kept, Contains("precious"));
  Mount();
}

TEST_F(FileSystemTest, ANameThatReadsAsAnAnswerIsANameLikeAnother) {
  for (const std::string name : {"a >> b >> 500 c", "POST >> 401 ", "https POST >> 404 : URL(12)",
                                 "x >> Couldn't connect to server(7)"}) {
    EXPECT_EQ(Write(name, "text"), 0) << name;
    EXPECT_EQ(Append(name, "s"), 0) << name;
    EXPECT_EQ(Rename(name, "z" + name), 0) << name;
    EXPECT_EQ(Read("z" + name), "texts");
    EXPECT_EQ(Unlink("z" + name), 0) << name;
  }
  EXPECT_THAT(Stored(), IsEmpty());
}

TEST_F(FileSystemTest, AListingWithoutEndIsAnError) {
  constexpr int kEnough = 100;
  const std::string file =
      R"({"fileName":"a","fileId":"1","action":"upload","contentLength":1,"uploadTimestamp":1})";
  for (const std::string& page : {R"({"files":[)" + file + R"(],"nextFileName":"a"})",
                                  std::string(R"({"files":[],"nextFileName":"a"})")}) {
    AnswerWith("b2_list_file_names", page, kEnough);
    EXPECT_LT(RequestsOf([&] { EXPECT_EQ(Names(), "errno 5"); }), kEnough);
    Heal();
    EXPECT_EQ(Names(), "");
  }
}

TEST_F(FileSystemTest, AFailedLargeUploadLeavesABoundedRest) {
  constexpr int kTimes = 6;
  const std::string large(3 * kPart, 'l');
  Fail("b2_upload_part", 500);
  Handle& handle = Create("a");
  EXPECT_EQ(Write(handle, large), 0);
  for (int i = 0; i < kTimes; ++i) EXPECT_EQ(Errno([&] { files->Sync(handle); }), EIO);
  EXPECT_LE(service->store().UnfinishedCount(), 1u);
  Heal();
  EXPECT_EQ(Flush(handle), 0);
  EXPECT_EQ(Stored("a"), large);
}

TEST_F(FileSystemTest, ACloseWithoutNewWritesStoresNothing) {
  Handle& first = Create("a");
  Handle& second = Open("a");
  EXPECT_EQ(Write(first, "text"), 0);
  EXPECT_EQ(Errno([&] { files->Sync(first); }), 0);
  for (Handle* handle : {&first, &second, &first}) EXPECT_EQ(Flush(*handle), 0);
  Close(first);
  Close(second);
  Close(Open("a"));
  EXPECT_EQ(Errno([&] { files->Sync(Open("a")); }), 0);
  EXPECT_EQ(Resize("a", 4), 0);
  Remount();
  EXPECT_EQ(Versions("a"), Texts{"text"});
}

TEST_F(FileSystemTest, ARevokedKeySignsInOnceInAWhile) {
  options.dir_ttl = std::chrono::seconds(0);
  Remount();
  service->ExpireTokens();
  Fail("b2_authorize_account", 401);
  service->ClearRequests();
  for (int i = 0; i < 10; ++i) EXPECT_EQ(Names(), "errno 13");
  EXPECT_LE(service->Count("b2_authorize_account"), 1u);
}

TEST_F(FileSystemTest, ALengthThatNoDiskHoldsIsRefused) {
  for (const std::string length : {"1152921504606846976", "9223372036854775807"}) {
    AnswerWith("b2_list_file_names",
               R"({"files":[{"fileName":"a","fileId":"1","action":"upload","contentLength":)" +
                   length + R"(,"uploadTimestamp":1}],"nextFileName":null})",
               -1);
    Remount();
    EXPECT_THAT(Read("a"), testing::StartsWith("errno ")) << length;
    EXPECT_NE(Append("a", "x"), 0) << length;
    Heal();
  }
}

TEST_F(FileSystemTest, MoreFilesThanDescriptorsCanBeRead) {
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  rlimit low = before;
  low.rlim_cur = 256;
  setrlimit(RLIMIT_NOFILE, &low);
  for (int i = 0; i < 300; ++i) Put(std::to_string(i), std::to_string(i));
  Remount();
  for (int i = 0; i < 300; ++i) EXPECT_EQ(Read(std::to_string(i)), std::to_string(i));
  setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(FileSystemTest, BlocksThatWereCutFromOutsideAreReadAgainOrRefused) {
  const std::string text(3 * kBlock, 't');
  Put("a", text);
  EXPECT_EQ(Read("a"), text);
  for (const auto& file : CacheFiles()) std::filesystem::resize_file(file, 10);
  EXPECT_THAT(Read("a"), AnyOf(text, "errno 5"));
}

TEST_F(FileSystemTest, ARenameThatIsKilledBringsNothingBackUnderTheOldName) {
  const auto with_waiting = [this](const std::string& name) {
    Put(name, "old");
    Fail("b2_upload_file", 500, 1);
    EXPECT_EQ(Write(name, "new"), EIO);
  };
  with_waiting("twin");
  const int last = RequestsOf([&] { EXPECT_EQ(Rename("twin", "twin2"), 0); });
  with_waiting("a");
  KillAt(last, [&] { Rename("a", "b"); });  // the old name is gone, the new one not noted yet
  Mount();
  EXPECT_THAT(Drain(), IsEmpty());
  EXPECT_EQ(Stored("a") + " " + Stored("b"), "none new");
}

}  // namespace
}  // namespace b2drive::mount
