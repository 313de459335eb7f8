#include <gmock/gmock.h>

#include "tests/host/b2drive_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

TEST_F(B2DriveTest, ListsAndReads) {
  Store("folder/inner/deep.txt", "deep");
  Store("folder/name with \xC3\xA4", "x");
  Store("empty", "");
  Store("both", "file");
  Store("both/inside", "in");
  EXPECT_EQ(Output({"ls"}), "test-bucket/\n");
  EXPECT_EQ(Output({"ls", "/test-bucket"}), "both\nboth/\nempty\nfolder/\n");
  EXPECT_EQ(Output({"ls", "test-bucket/both/"}), "inside\n");
  EXPECT_EQ(Output({"ls", "/test-bucket/folder"}), "inner/\nname with \xC3\xA4\n");
  EXPECT_THAT(Output({"ls", "-l", "/test-bucket"}),
              HasSubstr("\n-  -                         fol"));
  EXPECT_THAT(Output({"stat", "--json", "/test-bucket/folder/inner"}),
              HasSubstr("\"type\": \"folder\""));
  EXPECT_THAT(Output({"stat", "/test-bucket/both"}), HasSubstr("size:     4\n"));
  EXPECT_EQ(Output({"cat", "/test-bucket/both"}), "file");
  EXPECT_EQ(Output({"cat", "/test-bucket/empty"}), "");
  EXPECT_THAT(Output({"forms"}), HasSubstr("\"speedlimit\""));
  Output({"get", "/test-bucket/folder/inner/deep.txt"});
  Output({"get", "/test-bucket/empty", "nothing"});
  Output({"get", "/test-bucket/both", "part", "--offset", "1", "--length", "99"});
  const std::string last = "9223372036854775807";
  Output({"get", "/test-bucket/both", "beyond", "--offset", last, "--length", last});
  EXPECT_EQ(ReadFile(Work("deep.txt")), "deep");
  EXPECT_EQ(fs::file_size(Work("nothing")), 0u);
  EXPECT_EQ(ReadFile(Work("part")), "ile");
  EXPECT_EQ(fs::file_size(Work("beyond")), 0u);
}

TEST_F(B2DriveTest, FailuresHaveOneLineAndACode) {
  Store("file", "x");
  Store("folder/x", "x");
  WriteFile(Work("local"), "x");
  struct Row {
    int exit_code;
    Arguments arguments;
    const char* line;
  };
  for (const Row& row : std::vector<Row>{
           {2, {"ls", "a", "b"}, "not expected: b"},
           {2, {"get", "/test-bucket/file", "--offset", "-1"}, "not in range"},
           {2, {"rm", "/"}, "b2drive: rm /: the root"},
           {2, {"rm", "/test-bucket//file"}, "several slashes in a row"},
           {2, {"rm", "-r", "--yes", "/test-bucket//"}, "several slashes in a row"},
           {2, {"rmdir", "/test-bucket/folder//x"}, "several slashes in a row"},
           {2, {"--proxy", "http://u:p@127.0.0.1:1", "ls"}, "ls: --proxy: others can see"},
           {4, {"--plugin", "/none", "ls"}, "cannot be loaded"},
           {7, {"get", "/test-bucket/none"}, "/test-bucket/none: not found (AERROR::FILE_NOT_FO"},
           {7, {"put", "local", "/test-bucket/none/"}, "/test-bucket/none: not found"},
           {9, {"mkdir", "/test-bucket/folder"}, "exists already, a folder"},
           {1, {"mkdir", "/x"}, "answered 400"},
           {10, {"rmdir", "/test-bucket/folder"}, "not empty"},
           {11, {"cat", "/test-bucket/folder"}, "is a folder, not a file"},
           {11, {"ls", "/test-bucket/file/"}, "is a file, not a folder"},
           {11, {"get", "/test-bucket/file", "/dev/null"}, "no regular file"},
           {11, {"put", "local", "/"}, "holds buckets only"},
           {12, {"--proxy", "http://127.0.0.1:1", "ls"}, "cannot be reached: "},
           {13, {"put", "none", "/test-bucket"}, "put: none: No such file"},
           {13, {"get", "/test-bucket/file", "no/folder"}, "get: no/folder: No such file"},
           {13, {"get", "/test-bucket/file", std::string(256, 'n')}, "File name too long"},
           {14, {"rm", "-r", "/test-bucket"}, "4 files and folders"},
       }) {
    EXPECT_THAT(Failure(row.exit_code, row.arguments), HasSubstr(row.line));
  }
  EXPECT_THAT(Names(), ElementsAre("file", "folder/x"));
  run_.environment["B2_APPLICATION_KEY"] = "wrong";
  EXPECT_THAT(Failure(6, {"ls"}), HasSubstr("answered 401: check the application key"));
  run_.environment.erase("B2_APPLICATION_KEY");
  EXPECT_THAT(Failure(5, {"ls"}), HasSubstr("set both"));
  fs::remove(scratch_ / "Frameworks" / "cacert.pem");
  EXPECT_THAT(Failure(3, {"ls"}), HasSubstr("Frameworks/cacert.pem"));
}

TEST_F(B2DriveTest, StoresAndReadsBackWhateverTheSizeOrName) {
  fs::create_directories(Work("tree/sub/none"));
  const std::map<std::string, std::string> files = {
      {"tree/zero", ""},
      {"tree/a b \xC3\xA4+%.txt", "one"},
      {"tree/sub/below", std::string(99'999, 'b')},
      {"tree/sub/parts", std::string(250'001, 'p')},
  };
  for (const auto& [name, text] : files) WriteFile(Work(name), text);
  fs::create_symlink("zero", Work("tree/link"));
  ProgramResult put = Run({"put", "-r", "tree", "/test-bucket"});
  EXPECT_EQ(put.exit_code, 0);
  EXPECT_THAT(put.err, HasSubstr("tree/link: left out"));
  EXPECT_EQ(Output({"ls", "/test-bucket/tree/sub"}), "below\nnone/\nparts\n");
  for (const auto& [name, text] : files) {
    EXPECT_EQ(Output({"cat", "/test-bucket/" + name}), text) << name;
  }
  run_.input = std::string(300'000, 'i');
  Output({"put", "-", "/test-bucket/tree/stdin"});
  EXPECT_EQ(emulator::ReadText(emulator_.store(), kBucket, "tree/stdin"), run_.input);
  Output({"put", "tree/zero", "tree/sub/below", "/test-bucket/tree/sub/none"});
  Output({"put", "tree/zero", "/test-bucket/other name"});
  EXPECT_EQ(Output({"ls", "/test-bucket/tree/sub/none"}), "below\nzero\n");
  EXPECT_EQ(Output({"ls", "/test-bucket"}), "other name\ntree/\n");
}

TEST_F(B2DriveTest, SeveralUploadsOfWhichOneFails) {
  for (const char* name : {"a", "b", "c"}) WriteFile(Work(name), name);
  Fail({.call = "b2_upload_file", .skip = 1, .status = 400});
  ProgramResult put = Run({"put", "--jobs", "1", "a", "b", "c", "/test-bucket"});
  EXPECT_EQ(put.exit_code, 16);
  EXPECT_THAT(put.err, HasSubstr("put /test-bucket/b: the service answered 400"));
  EXPECT_THAT(put.err, HasSubstr("2 of 3 files were stored"));
  EXPECT_THAT(Names(), ElementsAre("a", "c"));
}

TEST_F(B2DriveTest, DeletesExactlyWhatIsNamed) {
  for (const char* name : {"a", "a", "a.bak", "ab/c", "d/e/f", "d/g"}) Store(name, "x");
  const std::string other = (scratch_ / "lib" / B2_PLUGIN_SONAME).string();
  EXPECT_THAT(Failure(15, {"--plugin", other, "rm", "/test-bucket/a"}), HasSubstr(": a.bak, ab/;"));
  Output({"--plugin", other, "rm", "/test-bucket/a.bak"});
  Fail({.call = "b2_list_file_versions", .status = 503});
  EXPECT_THAT(Failure(1, {"rm", "/test-bucket/a"}), HasSubstr("answered 503"));
  Output({"rm", "/test-bucket/a"});
  EXPECT_THAT(Names(), ElementsAre("ab/c", "d/e/f", "d/g"));
  Failure(7, {"rm", "--yes", "/test-bucket/d/g", "/test-bucket/none"});
  Failure(11, {"rm", "/test-bucket/d"});
  Output({"rm", "-r", "--yes", "/test-bucket/d/e", "/test-bucket/ab"});
  EXPECT_THAT(Names(), ElementsAre("d/g"));
  Output({"mkdir", "-p", "/second-bucket/x/y", "/test-bucket/d"});
  Failure(10, {"rmdir", "/second-bucket"});
  Output({"rmdir", "/second-bucket/x/y"});
  Output({"rm", "-r", "--yes", "/second-bucket", "/test-bucket"});
  EXPECT_EQ(Output({"ls"}), "");
}

TEST_F(B2DriveTest, WhatChangedWhileTheUserWasAskedStays) {
  for (const char* name : {"a", "b", "p/.bzEmpty", "q/.bzEmpty", "s/not shown.bzEmpty"}) {
    Store(name, "x");
  }
  ProgramResult rm = Agree({"rm", "/test-bucket/a", "/test-bucket/b"}, [&] { Store("a", "new"); });
  EXPECT_EQ(rm.exit_code, 16);
  EXPECT_THAT(rm.err, HasSubstr("rm /test-bucket/a: changed meanwhile by someone else; nothing"));
  ProgramResult rmdir =
      Agree({"rmdir", "/test-bucket/p", "/test-bucket/q"}, [&] { Store("p/new", "x"); });
  EXPECT_EQ(rmdir.exit_code, 16);
  EXPECT_THAT(rmdir.err, HasSubstr("rmdir /test-bucket/p: the folder is not empty"));
  Failure(10, {"rmdir", "/test-bucket/s"});
  EXPECT_THAT(Names(), ElementsAre("a", "p/.bzEmpty", "p/new", "s/not shown.bzEmpty"));
}

TEST_F(B2DriveTest, DeletesNamesWithEmptyPartsWithTheFolderAboveOnly) {
  Store("a/x", "x");
  List(R"({"files": [{"action": "folder", "fileName": "a//"}]})", 1);
  List(R"({"files": [{"action": "folder", "fileName": "a///"}]})", 1, -1);
  EXPECT_THAT(Failure(14, {"rm", "-r", "/test-bucket/a"}), HasSubstr("at least 2 files"));
  emulator_.ClearFaults();
  List(R"({"files": [{"action": "folder", "fileName": "/"}]})");
  EXPECT_THAT(Failure(1, {"rm", "-r", "--yes", "/test-bucket"}), HasSubstr("begin with a slash"));
  EXPECT_EQ(emulator_.Count("b2_delete_file_version"), 0u);

  const std::vector<std::string> names = {"a///b", "a//", "a/./b", "a/../b"};
  std::string files;
  for (const std::string& name : names) {
    files += (files.empty() ? "" : ",") + File(name, "1");
  }
  Fail({.call = "b2_list_file_versions", .status = 200, .body = R"({"files": [)" + files + "]}"});
  Fail({.call = "b2_delete_file_version", .times = -1, .status = 200, .body = "{}"});
  Output({"rm", "-r", "--yes", "/test-bucket/a"});
  std::vector<std::string> deleted;
  for (const emulator::Request& request : emulator_.requests()) {
    if (request.call == "b2_delete_file_version") deleted.push_back(request.body);
  }
  ASSERT_EQ(deleted.size(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_THAT(deleted[i], HasSubstr("\"" + names[i] + "\""));
  }
}

TEST_F(B2DriveTest, AListingThatMakesNoSenseEnds) {
  List(R"({"files": [)" + File("a", "1") + "," + File("b", "1") + R"(], "nextFileName": "a"})", 0,
       -1);
  EXPECT_THAT(Failure(1, {"ls", "/test-bucket"}), HasSubstr("makes no sense: it lists a twice"));
  emulator_.ClearFaults();
  List(R"({"files": [)" + File("a", "-5") + "]}");
  EXPECT_THAT(Failure(1, {"ls", "/test-bucket"}), HasSubstr("it gives a a negative size"));
}

TEST_F(B2DriveTest, ARefusalWithoutEndIsNotRepeatedWithoutEnd) {
  WriteFile(Work("file"), "x");
  Fail({.call = "b2_upload_file", .times = -1, .status = 500});
  for (const Arguments& arguments :
       {Arguments{"put", "file", "/test-bucket"}, Arguments{"mkdir", "/test-bucket/folder"}}) {
    emulator_.ClearRequests();
    EXPECT_EQ(Interrupt(arguments, "b2_upload_file").exit_code, 130);
    EXPECT_LE(emulator_.Count("b2_upload_file"), 3u);
  }
}

TEST_F(B2DriveTest, AnInterruptedTransferEndsAndLeavesNoHalfFile) {
  const std::string big(8'000'000, 'x');
  Store("big", big);
  WriteFile(Work("got"), "older");
  WriteFile(Work("put"), big);
  for (const bool stalled : {true, false}) {
    for (const char* call : {"b2_download_file_by_id", "b2_upload_part"}) {
      if (stalled) Fail({.call = call, .stall = true});
    }
    ProgramResult get = Interrupt({"get", "/test-bucket/big", "got"}, "b2_download_file_by_id");
    ProgramResult put = Interrupt({"put", "put", "/test-bucket"}, "b2_upload_part");
    EXPECT_THAT((std::vector{get.exit_code, put.exit_code}), ElementsAre(130, 130));
    EXPECT_THAT(get.err, HasSubstr(stalled ? "\nb2drive: interrupted\n"
                                           : "get /test-bucket/big: canceled (AERROR::READ_CANCE"));
    EXPECT_THAT(put.err, HasSubstr(stalled ? "\nb2drive: interrupted\n" : "UPLOAD_CANCELED); an"));
    EXPECT_THAT(put.err, HasSubstr("an unfinished large file may be left"));
    emulator_.ClearRequests();
  }
  EXPECT_EQ(ReadFile(Work("got")), "older");
  EXPECT_THAT(Names(), ElementsAre("big"));
  EXPECT_EQ(std::distance(fs::directory_iterator(run_.folder), {}), 2);
}

TEST_F(B2DriveTest, WhatIsFetchedReplacesAFileOnlyWhole) {
  const std::string longest(250, 'n');
  Store(longest, std::string(5000, 'x'));
  Output({"get", "/test-bucket/" + longest});
  EXPECT_EQ(fs::file_size(Work(longest)), 5000u);
  EXPECT_NE(fs::status(Work(longest)).permissions() & fs::perms::group_read, fs::perms::none);
  WriteFile(Work("mine"), "older");
  fs::permissions(Work("mine"), fs::perms::owner_read | fs::perms::owner_write);
  ProgramRun limited{"/bin/sh", run_.folder, run_.environment, ""};
  ProgramResult full =
      RunningProgram(limited, {"-c", "ulimit -f 1; exec \"$@\"", "sh", run_.program.string(), "get",
                               "/test-bucket/" + longest, "mine"})
          .Wait();
  EXPECT_EQ(full.exit_code, 13);
  EXPECT_THAT(full.err, HasSubstr(": File too large\n"));
  EXPECT_EQ(ReadFile(Work("mine")), "older");
  Output({"get", "/test-bucket/" + longest, "mine"});
  EXPECT_EQ(fs::file_size(Work("mine")), 5000u);
  EXPECT_EQ(fs::status(Work("mine")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(std::distance(fs::directory_iterator(run_.folder), {}), 2);
}

TEST_F(B2DriveTest, TheTextOfARefusalNeverGetsIntoAFile) {
  const std::string refusal = "{\"code\": \"too_many\"}";
  Store("file", std::string(refusal.size(), 'x'));
  for (const bool to_file : {false, true}) {
    Fail({.call = "b2_download_file_by_id", .status = 429, .body = refusal});
    const std::string out = to_file ? Output({"get", "/test-bucket/file", "copy"})
                                    : Output({"cat", "/test-bucket/file"});
    EXPECT_EQ(to_file ? ReadFile(Work("copy")) : out, std::string(refusal.size(), 'x'));
  }
  Fail({.call = "b2_download_file_by_id", .status = 503, .body = refusal});
  EXPECT_THAT(Failure(1, {"get", "/test-bucket/file", "none"}), HasSubstr("answered 503"));
  Fail({.call = "b2_download_file_by_id", .cut_after = 5});
  EXPECT_THAT(Failure(12, {"get", "/test-bucket/file", "none"}), HasSubstr("reached"));
  EXPECT_FALSE(fs::exists(Work("none")));
}

TEST_F(B2DriveTest, AKeyForOneBucketShowsThatBucket) {
  emulator::EnsureBucket(emulator_.store(), "other-bucket");
  emulator::Key wanted{.capabilities = emulator::AllCapabilities()};
  wanted.bucket_id = emulator::EnsureBucket(emulator_.store(), kBucket).id;
  auto key = emulator_.AddKey(wanted);
  run_.environment["B2_APPLICATION_KEY_ID"] = key->id;
  run_.environment["B2_APPLICATION_KEY"] = key->secret;
  run_.environment["B2_ACCOUNT_ID"] = emulator_.account_id();
  EXPECT_EQ(Output({"ls"}), "test-bucket/\n");
}

TEST_F(B2DriveTest, LogsAreReadableAndHoldNoSecret) {
  Store("file", "x");
  ProgramResult result = Run({"--verbose", "--log-bodies", "log", "ls", "/test-bucket"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.err, HasSubstr(" INFO  [PROTOCOL  ] GetFileList_ObjectList >> HTTPS POST"));
  EXPECT_THAT(result.err, HasSubstr("session tokens"));
  EXPECT_EQ(fs::status(Work("log")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_THAT(ReadFile(Work("log")), Not(HasSubstr("\"fileName\"")));
  std::string decoded = Output({"decode-log", "log"});
  EXPECT_THAT(decoded, HasSubstr("\"fileName\": \"file\""));
  for (const std::string& text : {result.err, result.out, decoded, ReadFile(Work("log"))}) {
    for (const char* secret : {kKey, kProxyPassword, "Basic "}) {
      EXPECT_THAT(text, Not(HasSubstr(secret)));
    }
  }
}

}  // namespace
