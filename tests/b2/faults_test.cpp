#include "tests/support/drive_test.h"

namespace {

using emulator::Fault;

constexpr int kPart = 1000;  // bytes

class FaultsTest;

// What a host asks for, and how it changes a bucket that holds kBefore.
struct Procedure {
  const char* title;
  std::string options;
  AERROR (*run)(FaultsTest& test);
  Contents after;
  bool keeps_unfinished = false;  // after a failure

  friend void PrintTo(const Procedure& procedure, std::ostream* out) { *out << procedure.title; }
};

const std::string kOld = std::string(1500, '1') + std::string(1500, '2');
const std::string kNew = std::string(1500, 'a') + std::string(2000, 'b');
const Contents kBefore = {{"d/a", "small"}, {"d/b", kOld}, {"f", kOld}};

bool Has(const Contents& contents, const Contents::value_type& file) {
  return contents.contains(file.first) && contents.at(file.first) == file.second;
}

class FaultsTest : public DriveTest, public testing::WithParamInterface<Procedure> {
 protected:
  FaultsTest() : DriveTest(kPart) { Set("strict_answers=true " + GetParam().options); }

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
    for (const auto& file : now)
      EXPECT_TRUE(Has(kBefore, file) || Has(GetParam().after, file)) << file.first;
    // What goes is there under its new name.
    for (const auto& [name, text] : GetParam().after) {
      const auto has = [&](const auto& file) { return file.second == text || file.second == kOld; };
      EXPECT_TRUE(std::ranges::any_of(now, has)) << name;
    }
    EXPECT_TRUE(Left() == 0 || GetParam().keeps_unfinished);
  }
  void RunRow(const Fault& fault) {
    const testing::ScopedTrace trace(
        __FILE__, __LINE__,
        fault.call + " " + std::to_string(fault.skip) + ": " + std::to_string(fault.status));
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
  std::vector<Fault> kinds = {{.cut_after = 0},
                              {.cut_after = 20},
                              {.cut_after = 20, .commit = true},
                              {.cut_request_after = 0},
                              {.cut_request_after = UINT64_MAX, .commit = true},
                              {.status = 500, .commit = true}};
  for (const int status : {401, 403, 408, 429, 500, 503}) kinds.push_back({.status = status});
  RunRow({.times = 0});
  Reset();
  EXPECT_EQ(GetParam().run(*this), SUCCESS);
  std::map<std::string, int> calls;
  for (const auto& request : service->requests()) ++calls[request.call];
  calls.erase("CONNECT");
  for (const auto& [call, count] : calls) {
    for (Fault kind : kinds) {
      kind.call = call;
      RunRow(kind);
      kind.skip = count - 1;
      if (kind.skip > 0 && kind.status != 429) RunRow(kind);  // each of these costs a second
    }
  }
}

Contents With(Text name, Text text, Text without = "") {
  Contents contents = kBefore;
  contents[name] = text;
  contents.erase(without);
  return contents;
}

const std::string kCopying = "server_copy=true copy_part_size=1000 copy_connections=2";
const std::string kParts = "upload_part_size=1000 upload_connections=3 cancel_failed_uploads=true";
constexpr bool kKeepsUnfinished = true;

AERROR PutSmall(FaultsTest& test) { return test.Put("f", "new"); }
AERROR PutLarge(FaultsTest& test) { return test.Put("f", kNew); }
AERROR RenameSmall(FaultsTest& test) { return test.Rename(test.ids["d/a"], "c"); }
AERROR RenameLarge(FaultsTest& test) { return test.Rename(test.ids["d/b"], "c"); }
AERROR MoveFolder(FaultsTest& test) { return test.MoveFolder(); }
AERROR Remove(FaultsTest& test) { return test.Delete(test.ids["d/a"]); }
AERROR Cancel(FaultsTest& test) { return test.Delete(test.bucket + "/" + test.unfinished); }

const Procedure kProcedures[] = {
    {"KeptUrls", "reuse_upload_urls=true", PutSmall, With("f", "new")},
    {"Parts", kParts, PutLarge, With("f", kNew)},
    {"Resumed", kParts + " resume_uploads=true keep_times=true", PutLarge, With("f", kNew),
     kKeepsUnfinished},
    {"Verified", "verify_uploads=true", PutSmall, With("f", "new")},
    {"VerifiedParts", kParts + " verify_uploads=before", PutLarge, With("f", kNew)},
    {"Copy", "server_copy=keep", RenameSmall, With("d/c", "small")},
    {"CopyByParts", kCopying + " server_copy=keep", RenameLarge, With("d/c", kOld)},
    {"Move", kCopying, RenameLarge, With("d/c", kOld, "d/b")},
    {"MoveFolder", kCopying, MoveFolder, {{"e/a", "small"}, {"e/b", kOld}, {"f", kOld}}},
    {"Hide", "hide_on_delete=true", Remove, {{"d/b", kOld}, {"f", kOld}}},
    {"DeleteVersion", "view=versions", Remove, {{"d/b", kOld}, {"f", kOld}}},
    {"Cancel", "view=unfinished", Cancel, kBefore}};

INSTANTIATE_TEST_SUITE_P(Of, FaultsTest, testing::ValuesIn(kProcedures),
                         [](const auto& param) { return std::string(param.param.title); });

}  // namespace
