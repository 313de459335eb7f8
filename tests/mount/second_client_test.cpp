#include <gmock/gmock.h>

#include <cerrno>

#include "tests/mount/file_system_test.h"

namespace b2drive::mount {
namespace {

using testing::AnyOf, testing::Contains, testing::MatchesRegex;
using Text = const std::string&;

// What a program does in a folder with the files "a" (of two versions) and "c" and the empty folder
// "e", all of which it has seen before.
struct Operation {
  std::string title;
  std::function<int(FileSystemTest& mount, Text in)> run;
  std::string result;  // the file that holds `contents` afterwards
  std::string contents;
  std::vector<std::string> names;  // those that another client touches
};
void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.title; }

int ReadWhole(FileSystemTest& mount, Text name) {
  EXPECT_THAT(mount.Read(name), AnyOf("a new", "a theirs", "errno 2", "errno 116"));
  return 0;
}

const Operation kOperations[] = {
    {"write", [](auto& m, Text in) { return m.Write(in + "n", "mine"); }, "n", "mine", {"n"}},
    {"overwrite", [](auto& m, Text in) { return m.Write(in + "a", "mine"); }, "a", "mine", {"a"}},
    {"append", [](auto& m, Text in) { return m.Append(in + "a", "+"); }, "a", "a .*[+]", {"a"}},
    {"truncate", [](auto& m, Text in) { return m.Resize(in + "a", 2); }, "a", "a ", {"a"}},
    {"move",
     [](auto& m, Text in) { return m.Rename(in + "a", in + "n"); },
     "n",
     "a new",
     {"a", "n"}},
    {"replace",
     [](auto& m, Text in) { return m.Rename(in + "a", in + "c"); },
     "c",
     "a new",
     {"a", "c"}},
    {"unlink", [](auto& m, Text in) { return m.Unlink(in + "a"); }, "c", "c", {"a"}},
    {"mkdir", [](auto& m, Text in) { return m.MakeFolder(in + "n"); }, "c", "c", {"n/x"}},
    {"rmdir", [](auto& m, Text in) { return m.RemoveFolder(in + "e"); }, "c", "c", {"e/x"}},
    {"read", [](auto& m, Text in) { return ReadWhole(m, in + "a"); }, "c", "c", {"a"}},
};

class SecondClientTest : public FileSystemTest, public testing::WithParamInterface<Operation> {
 protected:
  // A folder of its own for each run.
  std::string Prepare(Text in) {
    Put(in + "a", "a old");
    Put(in + "a", "a new");
    Put(in + "c", "c");
    Put(in + "e/.bzEmpty", "");
    EXPECT_EQ(Names(in), (std::set<std::string>{"a", "c", "e/"}));
    return in;
  }
  int CountRequests() {
    Prepare("alone/");
    return RequestsOf([&] { EXPECT_EQ(GetParam().run(*this, "alone/"), 0); });
  }

  void Meddle(Text how, Text name) {
    if (how == "put") return Put(name, "a theirs");
    if (!Versions(name).empty()) how == "hide" ? Hide(name) : Remove(name);
  }

  void Run(Text how, Text name, int k) {
    const Operation& operation = GetParam();
    const std::string in = Prepare(how + std::to_string(k) + name.front() + "/");
    SCOPED_TRACE(in);
    int error = 0;
    RequestsOf([&] { error = operation.run(*this, in); }, k, [&] { Meddle(how, in + name); });
    EXPECT_THAT(error, AnyOf(0, ENOENT, ESTALE, ENOTEMPTY));
    if (how == "put") {
      EXPECT_THAT(Versions(in + name), Contains("a theirs"));
    }
    if (error != 0 && how == "put") {
      EXPECT_THAT(Versions(in + "a"), Contains("a new"));
    } else if (error == 0 && (how == "put" || name != operation.result)) {
      EXPECT_THAT(Versions(in + operation.result), Contains(MatchesRegex(operation.contents)));
    }
  }
};

TEST_P(SecondClientTest, LosesNothingBetweenAnyTwoRequests) {
  const int requests = CountRequests();
  for (Text name : GetParam().names) {
    for (const std::string how : {"put", "remove", "hide"}) {
      for (int k = 1; k <= requests; ++k) Run(how, name, k);
    }
  }
  ExpectAgreement();
}

// What was on the service, or what was to be, and nothing older.
TEST_P(SecondClientTest, AKillAtAnyRequestLosesNothing) {
  const auto& [title, run, result, contents, names] = GetParam();
  const int requests = CountRequests();
  for (int k = 1; k <= requests; ++k) {
    const std::string in = Prepare(std::to_string(k) + "/");
    SCOPED_TRACE(in);
    KillAt(k, [&] { GetParam().run(*this, in); });
    Mount();
    ExpectAgreement();
    auto stored = Stored();
    EXPECT_NE(stored[in + "a"], "a old");
    EXPECT_THAT((Texts{stored[in + "a"], stored[in + result]}),
                Contains(AnyOf("a new", MatchesRegex(contents))));
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, SecondClientTest, testing::ValuesIn(kOperations),
                         [](const auto& one) { return one.param.title; });

}  // namespace
}  // namespace b2drive::mount
