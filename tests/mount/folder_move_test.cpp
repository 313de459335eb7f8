#include <cerrno>

#include "tests/mount/file_system_test.h"

namespace b2drive::mount {
namespace {

using testing::AnyOf, testing::Contains;

class FolderMoveTest : public FileSystemTest {
 protected:
  // A folder of its own for each run, which every program has seen.
  std::string Prepare(Text in) {
    Put(in + "d/a", "a");
    Put(in + "d/e/b", "b");
    Put(in + "d/none/.bzEmpty", "");
    Put(in + "d/.bzEmpty", "");
    Put(in + "c", "c");
    EXPECT_EQ(Shown(in), In(in + "d/", {{in + "c", "c"}}));
    return in;
  }
  static Contents In(Text folder, Contents more = {}) {
    more.insert({{folder + "a", "a"}, {folder + "e/b", "b"}});
    return more;
  }
  int Move(Text in) { return Rename(in + "d", in + "n"); }
  int CountRequests() {
    Move(Prepare("first/"));
    Prepare("alone/");
    return RequestsOf([&] { EXPECT_EQ(Move("alone/"), 0); });
  }
  Contents StoredIn(Text in) {
    Contents stored = Stored();
    std::erase_if(stored, [&](const auto& file) {
      return !file.first.starts_with(in) || file.first == in + "c";
    });
    return stored;
  }
};

TEST_F(FolderMoveTest, ItMovesWithAllThatIsInItAndWhatIsRefusedMovesNothing) {
  Prepare("");
  Put("full/x", "x");
  Fail("b2_upload_file", 503, kAlways);
  EXPECT_EQ(Write("d/waits", "waits"), EIO);
  Heal();
  HandlePtr writing = Create("d/writing", "half");
  for (const auto& [from, to, error] :
       {std::tuple{"d", "full", ENOTEMPTY}, {"d", "c", ENOTDIR}, {"d", "d/e/in", EINVAL}}) {
    EXPECT_EQ(Rename(from, to), error) << to;
  }
  EXPECT_EQ(TryName([&] { files->Rename(At("d"), At("d/none"), false); }), EINVAL);
  EXPECT_EQ(TryName([&] { files->Rename("/bucket", "/other", true); }), EXDEV);
  EXPECT_EQ(MakeFolder("n"), 0);
  EXPECT_EQ(TryName([&] { files->Rename(At("d"), At("n"), false); }), EEXIST);
  EXPECT_EQ(Rename("d", "n"), 0);
  EXPECT_EQ(Names(), (std::set<std::string>{"c", "full/", "n/"}));
  EXPECT_EQ(Names("n/"), (std::set<std::string>{"a", "e/", "none/", "waits", "writing"}));
  files->Write(*writing, 4, "full", 4);
  files->Flush(*writing);
  Close(std::move(writing));
  ExpectAgreement();
  EXPECT_EQ(Names(), (std::set<std::string>{"c", "full/", "n/"}));
  EXPECT_EQ(StoredIn("n/"), In("n/", {{"n/waits", "waits"}, {"n/writing", "halffull"}}));
  options.rename_max = 5;
  Remount();
  EXPECT_EQ(Rename("n", "m"), EXDEV);
}

TEST_F(FolderMoveTest, AKillAtAnyRequestLeavesItToTheNextMount) {
  const int requests = CountRequests();
  for (int k = 1; k <= requests; ++k) {
    const std::string in = Prepare(std::to_string(k) + "/");
    SCOPED_TRACE(in);
    KillAt(k, [&] { Move(in); });
    Mount();
    const Contents shown = Shown(in);  // waits until it is finished
    EXPECT_THAT(shown, AnyOf(In(in + "d/", {{in + "c", "c"}}), In(in + "n/", {{in + "c", "c"}})));
    EXPECT_THAT(Names(in), testing::SizeIs(2));
    ExpectAgreement();
  }
}

TEST_F(FolderMoveTest, WhatIsUnderTheNewNameByThenIsNotReplaced) {
  const int requests = CountRequests();
  for (int k = 1; k <= requests; ++k) {
    const std::string in = Prepare(std::to_string(k) + "/");
    SCOPED_TRACE(in);
    KillAt(k, [&] { Move(in); });
    Put(in + "n/a", "theirs");
    Mount();
    EXPECT_EQ(Shown(in).at(in + "n/a"), "theirs");
    ExpectAgreement();
  }
}

TEST_F(FolderMoveTest, AFailureAtAnyRequestUndoesIt) {
  const int requests = CountRequests();
  for (int k = 1; k <= requests; ++k) {
    const std::string in = Prepare(std::to_string(k) + "/");
    SCOPED_TRACE(in);
    Fail("", 403, 1, k - 1);
    const int error = Move(in);
    Heal();
    const std::string now = error == 0 ? "n/" : "d/";
    for (const auto& [name, text] : In(in + now)) EXPECT_EQ(Read(name), text);
    ExpectAgreement();
    EXPECT_TRUE(Names(in + now).contains("none/"));
  }
}

TEST_F(FolderMoveTest, WhatAnotherClientStoresMeanwhileStays) {
  const int requests = CountRequests();
  for (const std::string name : {"d/a", "d/e/y", "n/a"}) {
    for (int k = 1; k <= requests; ++k) {
      const std::string in = Prepare(std::to_string(k) + name + "/");
      SCOPED_TRACE(in);
      RequestsOf([&] { Move(in); }, k, [&] { Put(in + name, "theirs"); });
      Texts versions = Versions(in + name);
      for (const std::string moved : {"n/a", "n/e/y"}) {
        std::ranges::copy(Versions(in + moved), std::back_inserter(versions));
      }
      EXPECT_THAT(versions, Contains("theirs"));
    }
  }
  ExpectAgreement();
}

}  // namespace
}  // namespace b2drive::mount
