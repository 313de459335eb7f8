#include <functional>
#include <set>

#include "tests/support/drive_test.h"

namespace {

using emulator::Fault;

constexpr int kPart = 1000;  // bytes

std::string Bytes(int size, int seed = 0) {
  std::string text;
  for (int i = seed; static_cast<int>(text.size()) < size; ++i) text += std::to_string(i) + " ";
  text.resize(static_cast<std::size_t>(size));
  return text;
}

class FaultsTest;
using Options = std::vector<std::pair<const char*, const char*>>;

// What a host asks for, and how it changes a bucket that holds kBefore.
struct Procedure {
  const char* title;
  Options options;
  std::function<AERROR(FaultsTest& test)> run;
  Contents after;
  bool keeps_unfinished = false;  // after a failure
};

const std::string kOld = Bytes(3500, 7), kNew = Bytes(3500);
const Contents kBefore = {{"d/a", "small"}, {"d/b", kOld}, {"f", kOld}};

class FaultsTest : public DriveTest, public testing::WithParamInterface<Procedure> {
 protected:
  FaultsTest() : DriveTest(kPart) {
    SetOpt("strict_answers", "true");
    for (const auto& [key, value] : GetParam().options) SetOpt(key, value);
  }

  void Reset() {
    Heal();
    for (const auto& entry : store().ListVersions(bucket, {.max_count = 1000}).entries)
      store().Delete(entry.version->name, entry.version->Id());
    for (const auto& [name, text] : kBefore) ids[name] = Store(name, text);
    unfinished = store().StartLarge(bucket, {"u", "a/b", {}})->Id();
    Fail("b2_upload_part", 403, GetParam().keeps_unfinished ? 1 : 0, 2);
    if (GetParam().keeps_unfinished) Put("f", kNew);
    Heal();
    service->ClearRequests();
  }
  // How many unfinished files there are beside the one that is to be canceled.
  std::size_t Left() {
    const auto all = store().Unfinished(bucket);
    return static_cast<std::size_t>(
        std::ranges::count_if(all, [this](const auto& file) { return file->Id() != unfinished; }));
  }
  void ExpectSound(AERROR result) {
    const Contents now = StoredIn(store());
    EXPECT_TRUE(result != SUCCESS || now == GetParam().after);
    std::set<std::string> texts;
    for (const auto& [name, text] : now) {
      const auto is = [&](const Contents& in) { return in.contains(name) && in.at(name) == text; };
      EXPECT_TRUE(is(kBefore) || is(GetParam().after)) << name;
      texts.insert(text);
    }
    // Nothing is lost on the way.
    for (const auto& [name, text] : GetParam().after) {
      EXPECT_TRUE(texts.contains(text) || texts.contains(kOld)) << name;
    }
    EXPECT_TRUE(Left() == 0 || GetParam().keeps_unfinished);
  }
  void RunRow(const Fault& fault) {
    Reset();
    service->AddFault(fault);
    ExpectSound(GetParam().run(*this));
    Heal();
    ExpectSound(GetParam().run(*this));
    EXPECT_EQ(StoredIn(store()), GetParam().after);
    EXPECT_EQ(Left(), 0U);
  }

 public:
  AERROR Put(Text name, Text text) {
    MemoryCache cache(text);
    _FS_FILE_V2 file = RecordOf(name, text.size());
    file.second_time = "2001-02-03T04:05:06.789Z";
    return UploadFrom(cache, bucket, file);
  }
  AERROR Rename(Text id, Text name) {
    _FS_FILE_V2 out;
    return drive->Rename(id.c_str(), name.c_str(), &out, nullptr);
  }
  AERROR MoveFolder() {
    _FS_FILE_V2 out = RecordOf("e");
    return drive->MoveDir((bucket + "/d").c_str(), bucket.c_str(), &out, nullptr);
  }
  using DriveTest::bucket, DriveTest::Delete;

  Contents ids;  // identifiers
  std::string unfinished;
};

TEST_P(FaultsTest, LeaveWhatWasOrWhatIsToBe) {
  const Fault kinds[] = {{.status = 401, .code = "expired_auth_token"},
                         {.status = 403},
                         {.status = 408},
                         {.status = 500},
                         {.status = 503},
                         {.status = 500, .commit = true},
                         {.cut_after = 0},
                         {.cut_after = 20},
                         {.cut_after = 20, .commit = true},
                         {.cut_request_after = 0},
                         {.cut_request_after = UINT64_MAX, .commit = true},
                         {.status = 429}};
  RunRow({.times = 0});
  Reset();
  EXPECT_EQ(GetParam().run(*this), SUCCESS);
  std::map<std::string, int> calls;
  for (const auto& request : service->requests()) ++calls[request.call];
  calls.erase("CONNECT");
  for (const auto& [call, count] : calls) {
    for (const Fault& kind : kinds) {
      for (const int skip : std::set{0, count - 1}) {
        if (kind.status == 429 && skip > 0) continue;  // costs a second
        Fault fault = kind;
        fault.call = call;
        fault.skip = skip;
        const testing::ScopedTrace trace(
            __FILE__, __LINE__,
            call + " " + std::to_string(skip) + ", kind " + std::to_string(&kind - kinds));
        RunRow(fault);
      }
    }
  }
}

Contents With(Text name, Text text, Text without = "") {
  Contents contents = kBefore;
  contents[name] = text;
  contents.erase(without);
  return contents;
}

const Options kCopying = {
    {"server_copy", "true"}, {"copy_part_size", "1000"}, {"copy_connections", "2"}};
const Options kParts = {
    {"upload_part_size", "1000"}, {"upload_connections", "3"}, {"cancel_failed_uploads", "true"}};

Options And(Options options, const char* key, const char* value) {
  options.emplace_back(key, value);
  return options;
}

INSTANTIATE_TEST_SUITE_P(
    Of, FaultsTest,
    testing::Values(
        Procedure{"KeptUrls",
                  {{"reuse_upload_urls", "true"}},
                  [](auto& test) { return test.Put("f", "new"), test.Put("f", "new"); },
                  With("f", "new")},
        Procedure{"Parts", kParts, [](auto& test) { return test.Put("f", kNew); }, With("f", kNew)},
        Procedure{"Resumed", And(And(kParts, "resume_uploads", "true"), "keep_times", "true"),
                  [](auto& test) { return test.Put("f", kNew); }, With("f", kNew), true},
        Procedure{"Verified",
                  {{"verify_uploads", "true"}},
                  [](auto& test) { return test.Put("f", "new"); },
                  With("f", "new")},
        Procedure{"VerifiedParts", And(kParts, "verify_uploads", "before"),
                  [](auto& test) { return test.Put("f", kNew); }, With("f", kNew)},
        Procedure{"Copy",
                  {{"server_copy", "keep"}},
                  [](auto& test) { return test.Rename(test.ids["d/a"], "c"); },
                  With("d/c", "small")},
        Procedure{"CopyByParts", And(kCopying, "server_copy", "keep"),
                  [](auto& test) { return test.Rename(test.ids["d/b"], "c"); }, With("d/c", kOld)},
        Procedure{"Move", kCopying, [](auto& test) { return test.Rename(test.ids["d/b"], "c"); },
                  With("d/c", kOld, "d/b")},
        Procedure{"MoveFolder",
                  kCopying,
                  [](auto& test) { return test.MoveFolder(); },
                  {{"e/a", "small"}, {"e/b", kOld}, {"f", kOld}}},
        Procedure{"Hide",
                  {{"hide_on_delete", "true"}},
                  [](auto& test) { return test.Delete(test.ids["d/a"]); },
                  {{"d/b", kOld}, {"f", kOld}}},
        Procedure{"DeleteVersion",
                  {{"view", "versions"}},
                  [](auto& test) { return test.Delete(test.ids["d/a"]); },
                  {{"d/b", kOld}, {"f", kOld}}},
        Procedure{"Cancel",
                  {{"view", "unfinished"}},
                  [](auto& test) { return test.Delete(test.bucket + "/" + test.unfinished); },
                  kBefore}),
    [](const auto& param) { return param.param.title; });

}  // namespace
