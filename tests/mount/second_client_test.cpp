#include <cerrno>

#include "tests/mount/file_system_test.h"

namespace b2drive::mount {
namespace {

using testing::AnyOf, testing::Contains, testing::MatchesRegex;

// What a program does in a folder with the files "a" (of two versions) and "c" and the empty folder
// "e", all of which it has seen before.
struct Operation {
  std::string title, line;
  std::string result;  // the file that holds `contents` afterwards
  std::string contents;
  Texts names;  // those that another client touches
};
void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.title; }

const Operation kOperations[] = {{"write", "save n mine", "n", "mine", {"n"}},
                                 {"overwrite", "save a mine", "a", "mine", {"a"}},
                                 {"append", "append a +", "a", "a .*[+]", {"a"}},
                                 {"truncate", "resize a 2", "a", "a ", {"a"}},
                                 {"move", "move a n", "n", "a new", {"a", "n"}},
                                 {"replace", "move a c", "c", "a new", {"a", "c"}},
                                 {"unlink", "unlink a", "c", "c", {"a"}},
                                 {"mkdir", "mkdir n", "c", "c", {"n/x"}},
                                 {"rmdir", "rmdir e", "c", "c", {"e/x"}},
                                 {"read", "", "c", "c", {"a"}}};

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
  int Act(Text in) {
    if (!GetParam().line.empty()) return Do(GetParam().line, in);
    EXPECT_THAT(Read(in + "a"), AnyOf("a new", "a theirs", "errno 2", "errno 116"));
    return 0;
  }
  // Of an operation that finds the upload URL of an earlier one, as all later ones do.
  int CountRequests() {
    Act(Prepare("first/"));
    Prepare("alone/");
    return RequestsOf([&] { EXPECT_EQ(Act("alone/"), 0); });
  }

  void Meddle(Text how, Text name) {
    const bool there = !Versions(name).empty();
    if (how == "put") Put(name, "a theirs");
    if (how == "hide" && there) Hide(name);
    if (how == "remove" && there) Remove(name);
  }

  void Run(Text how, Text name, int k) {
    const Operation& operation = GetParam();
    const std::string in = Prepare(how + std::to_string(k) + name.front() + "/");
    SCOPED_TRACE(in);
    int error = 0;
    RequestsOf([&] { error = Act(in); }, k, [&] { Meddle(how, in + name); });
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
  const int requests = CountRequests();
  for (int k = 1; k <= requests; ++k) {
    const std::string in = Prepare(std::to_string(k) + "/");
    SCOPED_TRACE(in);
    KillAt(k, [&] { Act(in); });
    Mount();
    ExpectAgreement();
    auto stored = Stored();
    EXPECT_NE(stored[in + "a"], "a old");
    EXPECT_THAT((Texts{stored[in + "a"], stored[in + GetParam().result]}),
                Contains(AnyOf("a new", MatchesRegex(GetParam().contents))));
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, SecondClientTest, testing::ValuesIn(kOperations),
                         [](const auto& one) { return one.param.title; });

}  // namespace
}  // namespace b2drive::mount
