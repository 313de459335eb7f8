#include <gmock/gmock.h>

#include <cerrno>

#include "tests/mount/file_system_test.h"

namespace b2drive::mount {
namespace {

using testing::AnyOf, testing::Contains, testing::IsEmpty, testing::MatchesRegex;

// What a program does in a folder with the files "a" (of two versions) and "c" and the empty folder
// "e", all of which it has seen before.
struct Operation {
  const char* title;
  std::function<int(FileSystemTest& mount, const std::string& in)> run;
  const char* result;  // the file that it makes, if any
  const char* contents;
  std::vector<std::string> names;  // those that another client touches
};

void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.title; }

int ReadsWhole(FileSystemTest& mount, const std::string& name) {
  EXPECT_THAT(mount.Read(name), AnyOf("a new", "a theirs", "errno 2", "errno 116"));
  return 0;
}

const Operation kOperations[] = {
    {"write", [](auto& m, auto& in) { return m.Write(in + "n", "mine"); }, "n", "mine", {"n"}},
    {"overwrite", [](auto& m, auto& in) { return m.Write(in + "a", "mine"); }, "a", "mine", {"a"}},
    {"append", [](auto& m, auto& in) { return m.Append(in + "a", "+"); }, "a", "a .*[+]", {"a"}},
    {"truncate", [](auto& m, auto& in) { return m.Resize(in + "a", 2); }, "a", "a ", {"a"}},
    {"rename",
     [](auto& m, auto& in) { return m.Rename(in + "a", in + "n"); },
     "n",
     "a new",
     {"a", "n"}},
    {"replace",
     [](auto& m, auto& in) { return m.Rename(in + "a", in + "c"); },
     "c",
     "a new",
     {"a", "c"}},
    {"unlink", [](auto& m, auto& in) { return m.Unlink(in + "a"); }, nullptr, "", {"a"}},
    {"mkdir", [](auto& m, auto& in) { return m.MakeFolder(in + "n"); }, nullptr, "", {"n/x"}},
    {"rmdir", [](auto& m, auto& in) { return m.RemoveFolder(in + "e"); }, nullptr, "", {"e/x"}},
    {"read", [](auto& m, auto& in) { return ReadsWhole(m, in + "a"); }, nullptr, "", {"a"}},
};

class SecondClientTest : public FileSystemTest, public testing::WithParamInterface<Operation> {
 public:
  // A folder of its own for each run.
  std::string Prepare(const std::string& name) {
    const std::string in = name + "/";
    Put(in + "a", "a old");
    Put(in + "a", "a new");
    Put(in + "c", "c");
    Put(in + "e/.bzEmpty", "");
    EXPECT_EQ(Names(name), "a c e/");
    return in;
  }

  int CountRequests() {
    const std::string in = Prepare("undisturbed");
    const int requests = RequestsOf([&] { EXPECT_EQ(GetParam().run(*this, in), 0); });
    EXPECT_GE(requests, 1);
    return requests;
  }

  void Disturb(const std::string& what, const std::string& name, int k) {
    const Operation& operation = GetParam();
    const std::string trace = what + " " + name + " before request " + std::to_string(k);
    SCOPED_TRACE(trace);
    const std::string in = Prepare(trace.substr(0, trace.find('/')) + std::to_string(k));
    int error = 0;
    Meddle(
        k, [&] { Act(what, in + name); }, [&] { error = operation.run(*this, in); });
    EXPECT_THAT(error, AnyOf(0, ENOENT, ESTALE, ENOTEMPTY));
    if (what == "put") {
      EXPECT_THAT(Versions(in + name), Contains("a theirs"));
      if (error != 0) {
        EXPECT_THAT(Versions(in + "a"), Contains("a new"));
      }
    }
    if (operation.result == nullptr || error != 0) return;
    if (what != "put" && name == operation.result) return;
    EXPECT_THAT(Versions(in + operation.result), Contains(MatchesRegex(operation.contents)));
  }

  void Act(const std::string& what, const std::string& name) {
    if (what == "put") return Put(name, "a theirs");
    if (what == "remove") return Remove(name);
    if (!Versions(name).empty()) Hide(name);
  }
};

TEST_P(SecondClientTest, BetweenAnyTwoRequests) {
  const int requests = CountRequests();
  for (const std::string& name : GetParam().names) {
    for (const char* what : {"put", "remove", "hide"}) {
      for (int k = 1; k <= requests; ++k) Disturb(what, name, k);
    }
  }
  EXPECT_THAT(Drain(), IsEmpty());
  EXPECT_EQ(MountedAfresh(), Stored());
}

TEST_P(SecondClientTest, AKillBetweenAnyTwoRequestsLosesNothing) {
  const Operation& operation = GetParam();
  const int requests = CountRequests();
  const std::string result = operation.result != nullptr ? operation.result : "a";
  for (int k = 1; k <= requests; ++k) {
    SCOPED_TRACE(k);
    const std::string in = Prepare(std::to_string(k));
    KillAt(k, [&] { operation.run(*this, in); });
    Mount();
    EXPECT_THAT(Drain(), IsEmpty());
    EXPECT_NE(Stored(in + "a"), "a old");
    if (operation.title == std::string("unlink")) continue;
    EXPECT_TRUE(Stored(in + "a") == "a new" ||
                testing::Value(Stored(in + result), MatchesRegex(operation.contents)));
  }
  EXPECT_EQ(MountedAfresh(), Stored());
}

INSTANTIATE_TEST_SUITE_P(Operations, SecondClientTest, testing::ValuesIn(kOperations),
                         [](const auto& one) { return std::string(one.param.title); });

}  // namespace

}  // namespace b2drive::mount
