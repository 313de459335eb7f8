#include "host/transfer/sync_plan.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "host/transfer/sync_book.h"
#include "tests/support/scratch.h"

namespace b2drive {
namespace {

using Kind = LocalItem::Kind;

// Trees as words: "a=5@100" is a file of 5 bytes from second 100, "a=5@100.1" from a bit later,
// "d/" a folder and "l!" a link. On the drive a file's identifier is its path, its size and its
// time.
LocalItem Local(const std::string& word) {
  if (word.ends_with('/')) return {word.substr(0, word.size() - 1), Kind::kFolder, 0, {}};
  if (word.ends_with('!')) return {word.substr(0, word.size() - 1), Kind::kOther, 0, {}};
  const std::size_t equals = word.find('='), at = word.find('@');
  const bool later = word.ends_with(".1");
  return {word.substr(0, equals),
          Kind::kFile,
          std::stoul(word.substr(equals + 1)),
          {std::stol(word.substr(at + 1)), later ? 1 : 0}};
}

RemoteItem Remote(const std::string& word) {
  const LocalItem item = Local(word);
  const std::string name = item.path.substr(item.path.rfind('/') + 1);
  return {item.path,
          {name, word, item.kind == Kind::kFolder, item.size, item.modified, item.modified}};
}

std::vector<std::string> Words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

// "+d >a ?b | -c | >e": what is made, sent, compared and deleted, and then sent.
std::string Shown(const std::vector<SyncAction>& actions) {
  std::string text;
  for (const SyncAction& action : actions) {
    const bool folder = action.kind == SyncAction::Kind::kMakeFolder ||
                        action.kind == SyncAction::Kind::kDeleteFolder;
    const bool deletes = action.kind == SyncAction::Kind::kDeleteFile ||
                         action.kind == SyncAction::Kind::kDeleteFolder;
    const char* const mark = deletes ? "-" : folder ? "+" : action.compare ? "?" : ">";
    text += (text.empty() ? "" : " ") + (mark + action.path);
  }
  return text;
}

std::string Plan(SyncDirection direction, const std::string& here, const std::string& there,
                 const std::string& synced, const std::string& options) {
  std::vector<LocalItem> local;
  std::vector<RemoteItem> remote;
  SyncRecords records;
  for (const std::string& word : Words(here)) local.push_back(Local(word));
  for (const std::string& word : Words(there)) remote.push_back(Remote(word));
  for (const std::string& word : Words(synced)) {  // here:there
    const LocalItem item = Local(word.substr(0, word.find(':')));
    records[item.path] = {item.size, item.modified, word.substr(word.find(':') + 1)};
  }
  const SyncPlan plan = PlanSync(
      {direction, "L", "/b/r", local, remote, records, options == "checksum", options == "delete"});
  std::string text = Shown(plan.changes);
  if (options == "delete") text += " | " + Shown(plan.deletions);
  if (!plan.after_deletions.empty()) text += " | " + Shown(plan.after_deletions);
  for (const HostError& error : plan.refusals) text += std::string("; ") + error.what();
  if (!plan.notes.empty()) text += "; noted " + std::to_string(plan.notes.size());
  return text;
}

struct Row {
  std::string here, there, synced, options, up, down;
};
const std::string kOtherKind = "; L/x: is not a ";
const std::string kRemove = " as on the drive; remove it, or use --delete";
const Row kRows[] = {
    {"a=1@9", "", "", "", ">a", ""},
    {"", "a=1@9", "", "", "", ">a"},
    {"a=1@9", "a=2@9", "", "", ">a", ">a"},
    {"a=1@9", "a=1@9", "", "", "", ""},
    {"a=1@9", "a=1@8", "", "", ">a", ""},
    {"a=1@8", "a=1@9", "", "", "", ">a"},
    {"a=1@9.1", "a=1@9", "", "", ">a", ">a"},
    {"a=1@9", "a=1@8", "a=1@9:a=1@8", "", "", ""},
    {"a=1@8", "a=1@9", "a=1@8:a=1@9", "", "", ""},
    {"a=1@9.1", "a=1@9", "a=1@9.1:a=1@9", "", "", ""},
    {"a=1@7", "a=1@9", "a=1@8:a=1@9", "", ">a", ">a"},
    {"a=1@8", "a=1@5", "a=1@8:a=1@9", "", ">a", ">a"},
    {"a=2@8", "a=1@9", "a=1@8:a=1@9", "", ">a", ">a"},
    {"a=1@8", "a=1@9", "a=1@8:a=1@9", "checksum", "?a", "?a"},
    {"a=1@8", "a=2@9", "a=1@8:a=2@9", "checksum", ">a", ">a"},
    {"d/ d/e/ f/ f/a=1@9", "", "", "", "+d/e >f/a", ""},
    {"", "d/ d/e/ d/e/a=1@9", "", "", "", "+d +d/e >d/e/a"},
    {"d/", "d/ d/a=1@9", "", "", "", ">d/a"},
    {"d/", "d/ d/a=1@9", "", "delete", "+d | -d/a", ">d/a | "},
    {"d/ d/a=1@9 e=1@9", "e=1@9", "", "delete", ">d/a | ", " | -d/a -d"},
    {"x=1@9", "x/ x/a=1@9", "", "", ">x", kOtherKind + "folder" + kRemove},
    {"x=1@9", "x/ x/a=1@9", "", "delete", ">x | -x/a -x", " | -x | +x >x/a"},
    {"x/ x/a=1@9", "x=1@9", "", "", ">x/a", kOtherKind + "file" + kRemove},
    {"x/ x/a=1@9", "x=1@9", "", "delete", ">x/a | -x", " | -x/a -x | >x"},
    {"x!", "x=1@9", "", "delete", " | ; noted 1",
     " | " + kOtherKind + "file as on the drive; remove it"},
    {"x!", "x/ x/a=1@9", "", "delete", " | ; noted 1",
     " | " + kOtherKind + "folder as on the drive; remove it"},
    {"l!", "", "", "delete", " | ; noted 1", " | "},
    {"", "x=1@9 x/ x/a=1@9", "", "", "", "+x >x/a; /b/r/x: a folder has the same name"},
    {"", "../ ../a=1@9 b=1@9", "", "", "", ">b; /b/r/..: would lead elsewhere"},
    {"", "d/ d//", "", "delete", " | -d", "+d | ; /b/r/d/: an empty name"},
    {"\x1b/ \x1b/a=1@9 b=1@9", "", "", "", ">b; /b/r/\x1b: the service stores no such name", ""}};

TEST(SyncPlan, MakesTheTargetLikeTheSource) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.here + " - " + row.there + " - " + row.synced + " " + row.options);
    EXPECT_EQ(Plan(SyncDirection::kUp, row.here, row.there, row.synced, row.options), row.up);
    EXPECT_EQ(Plan(SyncDirection::kDown, row.here, row.there, row.synced, row.options), row.down);
  }
}

TEST(SyncPlan, LimitsDeletions) {
  const std::tuple<std::string, std::size_t, std::size_t, bool> rows[] = {
      {"50%", 1, 2, true}, {"50%", 2, 3, false}, {"0", 0, 9, true}, {"0", 1, 9, false},
      {"0%", 0, 0, true},  {"7", 7, 7, true},    {"7", 8, 9, false}};
  for (const auto& [limit, deleted, of, allowed] : rows) {
    EXPECT_EQ(DeletionLimit::Parse(limit).Allows(deleted, of), allowed) << limit << deleted;
  }
  for (const char* const wrong : {"", "%", "-1", "101%", "1.5", "5 %"}) {
    EXPECT_THROW(DeletionLimit::Parse(wrong), HostError) << wrong;
  }
}

TEST(SyncState, RemembersOrHasNothing) {
  const Scratch scratch;
  const SyncPair pair{"account", "/local/\xff\n", "/b/r"};
  const std::string name = "odd \xff\t\n name";
  SyncState state(scratch.path, pair);
  state.Reserve();
  EXPECT_THROW(SyncState(scratch.path, pair).Reserve(), HostError);
  EXPECT_TRUE(state.Load().empty() && state.problem().empty());
  SyncBook book(&state, {});
  book.Record(name, {1ULL << 40, {-5, 999}, "id"});
  book.Record("gone", {});
  book.Shrink([&](const std::string& path) { return path == name; });
  book.Save();
  const SyncRecords records = SyncState(scratch.path, pair).Load();
  ASSERT_EQ(records.size(), 1U);
  const SyncedFile& file = records.at(name);
  EXPECT_EQ(std::tie(file.size, file.modified.tv_sec, file.modified.tv_nsec, file.id),
            std::make_tuple(1ULL << 40, -5, 999, "id"));
  EXPECT_TRUE(SyncState(scratch.path, {"other", pair.local, pair.path}).Load().empty());

  std::filesystem::path stored;
  for (const auto& entry : std::filesystem::directory_iterator(scratch.path)) {
    if (!entry.path().has_extension()) stored = entry.path();
  }
  std::ostringstream whole;
  whole << std::ifstream(stored).rdbuf();
  for (std::size_t at = 0; at < whole.str().size(); ++at) {
    std::string bytes = whole.str();
    at % 2 == 0 ? bytes.resize(at) : void(bytes[at] ^= 4);
    std::ofstream(stored) << bytes;
    EXPECT_TRUE(state.Load().empty()) << at;
    EXPECT_EQ(state.problem().empty(), bytes.empty()) << at;
  }
}

}  // namespace
}  // namespace b2drive
