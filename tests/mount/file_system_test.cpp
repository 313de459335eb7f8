#include "tests/mount/file_system_test.h"

#include <sys/resource.h>

#include <cerrno>

#include "tests/support/memory.h"

namespace b2drive::mount {
namespace {

using testing::AnyOf, testing::Contains, testing::StartsWith;

TEST_F(FileSystemTest, ATimeThatIsSetGoesWithTheFile) {
  HandlePtr handle = Create("a", "text");
  files->Sync(*handle);
  files->SetTime(At("a"), {1000, 0});
  Close(std::move(handle));
  EXPECT_EQ(files->Stat(At("a")).modified.tv_sec, 1000);
  EXPECT_EQ(Rename("a", "b"), 0);
  EXPECT_EQ(files->Stat(At("b")).modified.tv_sec, 1000);
  // It is stored where the file was not saved yet, or got its name since; also by a later mount.
  handle = Create("c", "text");
  files->SetTime(At("c"), {2000, 3'999'999});
  Close(std::move(handle));
  Fail("b2_upload_file", 503, kAlways);
  handle = Create("d", "text");
  files->SetTime(At("d"), {4000, 0});
  EXPECT_EQ(Try([&] { files->Sync(*handle); }), EIO);
  Kill();
  handle.reset();
  Heal();
  Mount();
  Remount();
  for (const auto& [name, time] :
       {std::pair{"b", timespec{1000, 0}}, {"c", {2000, 3'000'000}}, {"d", {4000, 0}}}) {
    const timespec stored = files->Stat(At(name)).modified;
    EXPECT_EQ(std::pair(stored.tv_sec, stored.tv_nsec), std::pair(time.tv_sec, time.tv_nsec));
  }
}

TEST_F(FileSystemTest, ARenameMovesNoBytesAndDeletesNothingUncopied) {
  const std::string text(3 * kPart, 't');
  Put("a", text);
  Remount();
  const auto sent = [this] {
    return service->Count("b2_upload_file") + service->Count("b2_upload_part") +
           service->Count("b2_download_file_by_id");
  };
  const std::size_t before = sent();
  Fail("b2_copy_file", 403, kAlways);
  EXPECT_EQ(Rename("a", "b"), EACCES);
  Heal();
  service->AddFault({.call = "b2_copy_file", .replace = {{std::to_string(text.size()), "7"}}});
  EXPECT_EQ(Rename("a", "b"), EIO);
  EXPECT_EQ(Versions("a"), Texts{text});
  EXPECT_EQ(Rename("a", "b"), 0);
  EXPECT_EQ(sent(), before);
  EXPECT_EQ(Read("b"), text);
  ExpectAgreement();
}

// What the mount knows of a name is up to dir_ttl old.
TEST_F(FileSystemTest, NothingIsDeletedThatAnotherClientStoredSince) {
  const std::pair<std::string, std::function<int()>> rows[] = {
      {"a", [this] { return Rename("a", "new"); }},
      {"a", [this] { return Rename("a", "b"); }},
      {"b", [this] { return Rename("a", "b"); }},
      {"a", [this] { return Unlink("a"); }}};
  for (const auto& [changed, act] : rows) {
    for (const std::string name : {"a", "b"}) Put(name, "seen");
    Remount();
    EXPECT_EQ(Names(), (std::set<std::string>{"a", "b"}));
    Put(changed, "theirs");
    const Texts before[] = {Versions("a"), Versions("b")};
    EXPECT_EQ(act(), ESTALE);
    EXPECT_EQ(Versions("a"), before[0]);
    EXPECT_EQ(Versions("b"), before[1]);
    for (const auto& [name, text] : Stored()) Remove(name);
  }
}

TEST_F(FileSystemTest, NoByteOfAnAnswerToAnotherRangeIsServedOrKept) {
  const std::string text = std::string(kBlock, '1') + std::string(kBlock, '2');
  Put("a", text);
  for (const std::size_t answered : {kBlock, 2 * kBlock}) {
    Remount();
    AnswerWith("b2_download_file_by_id", text.substr(0, answered));
    EXPECT_EQ(Read("a", kBlock), "errno 5");
    Heal();
    EXPECT_EQ(Read("a", kBlock), text.substr(kBlock));
  }
}

TEST_F(FileSystemTest, WhatWaitedIsSentOnceAtMost) {
  service->AddFault({.call = "b2_upload_file", .status = 500, .commit = true});
  EXPECT_EQ(Write("lost answer", "mine"), EIO);
  Fail("b2_upload_file", 500);
  EXPECT_EQ(Write("replaced", "one"), EIO);
  EXPECT_EQ(Write("replaced", "two"), 0);
  Kill();
  Mount();
  ExpectAgreement();
  EXPECT_EQ(Versions("lost answer"), Texts{"mine"});
  EXPECT_EQ(Versions("replaced"), Texts{"two"});
}

TEST_F(FileSystemTest, AJournalThatCannotBeReadIsListedAndKept) {
  options.log_size = 0;
  Remount();
  Fail("b2_upload_file", 500, kAlways);
  EXPECT_EQ(Write("a", "precious"), EIO);
  Kill();
  for (const auto& file : CacheFiles()) {
    if (file.extension() == ".json") std::filesystem::resize_file(file, 5);
  }
  Texts kept;
  for (int mounts = 0; mounts < 2; ++mounts) {
    Remount();
    EXPECT_EQ(files->announcements().Lines().size(), 1u);
  }
  for (const auto& file : CacheFiles()) std::getline(std::ifstream(file), kept.emplace_back());
  EXPECT_THAT(kept, Contains("precious"));
}

TEST_F(FileSystemTest, ANameThatReadsAsAnAnswerIsANameLikeAnother) {
  for (const std::string name : {"a >> b >> 500 c", "POST >> 401 ", "https POST >> 404 : URL(12)",
                                 "x >> Couldn't connect to server(7)"}) {
    EXPECT_EQ(Write(name, "text"), 0) << name;
    EXPECT_EQ(Rename(name, "z" + name), 0) << name;
    EXPECT_EQ(Read("z" + name), "text");
    EXPECT_EQ(Unlink("z" + name), 0) << name;
  }
  ExpectAgreement();
}

TEST_F(FileSystemTest, AFileOfAbsurdSizeIsAnError) {
  for (const std::string length : {"1152921504606846976", "9223372036854775807"}) {
    AnswerWith("b2_list_file_names",
               R"({"files":[{"fileName":"a","fileId":"1","action":"upload","contentLength":)" +
                   length + R"(,"uploadTimestamp":1}]})");
    Remount();
    EXPECT_THAT(Read("a"), StartsWith("errno "));
    EXPECT_NE(Append("a", "x"), 0);
    Heal();
  }
}

TEST_F(FileSystemTest, ASendingThatRanOutOfMemoryIsTriedAgain) {
  EXPECT_TRUE(Names().empty());
  service->ExpireTokens();
  out_of_memory = true;
  EXPECT_NE(Write("a", "text"), 0);
  EXPECT_FALSE(files->Waiting().at(0).sending);
  out_of_memory = false;
  ExpectAgreement();
  EXPECT_EQ(Versions("a"), Texts{"text"});
}

TEST_F(FileSystemTest, AFailedLargeUploadIsRepeatedByItselfForAWhileOnlyAndItsRestIsTold) {
  constexpr int kTimes = 10;
  const std::string large(3 * kPart, 'l');
  Fail("b2_upload_part", 403, kAlways);
  HandlePtr handle = Create("a", large);
  const auto fail = [&] {
    EXPECT_EQ(Try([&] { files->Sync(*handle); }), EDQUOT);
    return files->Waiting().at(0);
  };
  // The next one goes on with what is there, unless it cannot be found.
  for (int times = 1; times <= 3; ++times) EXPECT_EQ(fail().unfinished.files, 1);
  Fail("b2_list_unfinished_large_files", 403, kAlways);
  Delay delay;
  do {
    delay = fail();
    EXPECT_EQ(delay.lasting, delay.unfinished.files >= kTimes);
  } while (!delay.lasting);
  const auto left = static_cast<std::size_t>(delay.unfinished.files);
  EXPECT_LE(left, kTimes + 1U);  // it is repeated by itself, too, while the machine is slow
  EXPECT_EQ(service->store().UnfinishedCount(), left);
  Heal();
  files->Sync(*handle);
  Close(std::move(handle));
  EXPECT_EQ(service->store().UnfinishedCount(), left - 1);
  ExpectAgreement();
  EXPECT_EQ(Versions("a").at(0), large);
}

TEST_F(FileSystemTest, ACloseWithoutNewWritesStoresNothing) {
  HandlePtr first = Create("a", "text");
  HandlePtr second = Open("a");
  files->Sync(*first);
  for (const HandlePtr* handle : {&first, &second, &first}) files->Flush(**handle);
  Close(std::move(first));
  files->Sync(*second);
  Close(std::move(second));
  Close(Open("a"));
  ExpectAgreement();
  EXPECT_EQ(Versions("a"), Texts{"text"});
}

TEST_F(FileSystemTest, ADeletionWhoseAnswerWasLostIsOne) {
  options.retries = 1;
  Remount();
  for (const std::string text : {"old", "new"}) Put("a", text);
  service->AddFault({.call = "b2_delete_file_version", .cut_request_after = 0, .commit = true});
  EXPECT_EQ(Unlink("a"), 0);
  EXPECT_TRUE(Versions("a").empty());
}

TEST_F(FileSystemTest, ARevokedKeyIsTriedOnceInAWhile) {
  options.dir_ttl = std::chrono::seconds(0);
  Remount();
  service->ExpireTokens();
  Fail("b2_authorize_account", 401, kAlways);
  service->ClearRequests();
  for (int times = 0; times < 10; ++times) EXPECT_EQ(Try([&] { Names(); }), EACCES);
  EXPECT_LE(service->Count("b2_authorize_account"), 1u);
}

TEST_F(FileSystemTest, MoreFilesThanDescriptorsAreRead) {
  if (!kMemoryIsMeasurable) GTEST_SKIP() << "a sanitizer needs descriptors itself";
  constexpr int kFiles = 300;
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit low{kFiles - 50, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &low);
  for (int i = 0; i < kFiles; ++i) Put(std::to_string(i), std::to_string(i));
  ExpectAgreement();
  setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(FileSystemTest, BlocksThatWereCutFromOutsideAreReadAgainOrRefused) {
  const std::string text(3 * kBlock, 't');
  Put("a", text);
  EXPECT_EQ(Read("a"), text);
  for (const auto& file : CacheFiles()) std::filesystem::resize_file(file, 10);
  EXPECT_THAT(Read("a"), AnyOf(text, "errno 5"));
}

}  // namespace
}  // namespace b2drive::mount
