#include <set>

#include "client.h"

namespace emulator {
namespace {

constexpr const char* kNames = "b2_list_file_names";
constexpr const char* kVersions = "b2_list_file_versions";

// Entries in order as "name", "name-" (hidden), "name+" (unfinished), "folder/"; then "> next".
std::string PageText(const Reply& reply) {
  if (reply.status != 200) return reply.Outcome();
  static const std::map<std::string, std::string> marks{
      {"upload", ""}, {"hide", "-"}, {"start", "+"}, {"folder", ""}};
  const json page = reply.Json();
  std::string text;
  for (const json& file : page["files"]) {
    text += file["fileName"].get<std::string>() + marks.at(file["action"]) + " ";
  }
  if (!page["nextFileName"].is_null()) text += "> " + page["nextFileName"].get<std::string>();
  return text;
}

class ListingTest : public EmulatorTest {
 protected:
  ListingTest() {
    for (const char* name : {"b.txt", "b/1", "b/2/x", "c", "c", "h/gone", "z", "\xC3\xA9/x"}) {
      AddText(store(), "photos", name, name);
    }
    store().Hide(bucket_.id, "h/gone");
    Start("b/0");
    Start("c");
  }

  Reply List(const char* call, json fields) {
    fields["bucketId"] = bucket_.id;
    return Call(call, fields);
  }
};

TEST_F(ListingTest, RulesOfPagesFoldersAndVersions) {
  const json none = nullptr;
  const std::tuple<const char*, json, const char*> rows[] = {
      {kNames,
       {{"delimiter", none}, {"prefix", none}, {"startFileName", none}},
       "b.txt b/1 b/2/x c z \xC3\xA9/x "},
      // Only folders with something visible are shown; names sort as unsigned bytes.
      {kNames, {{"delimiter", "/"}}, "b.txt b/ c z \xC3\xA9/ "},
      {kNames, {{"delimiter", "/"}, {"maxFileCount", 1}}, "b.txt > b/"},
      {kNames, {{"delimiter", "/"}, {"startFileName", "b/"}, {"maxFileCount", 1}}, "b/ > c"},
      {kNames, {{"prefix", "b/"}, {"startFileName", "c"}}, ""},
      {kNames, {{"maxFileCount", 0}}, "b.txt b/1 b/2/x c z \xC3\xA9/x "},
      {kNames, {{"maxFileCount", 10'000}}, "b.txt b/1 b/2/x c z \xC3\xA9/x "},
      {kNames, {{"maxFileCount", 10'001}}, "400 out_of_range"},
      {kNames, {{"maxFileCount", -1}}, "400 out_of_range"},
      {kNames, {{"delimiter", ""}}, "400 bad_request"},
      {kNames, {{"delimiter", "ab"}}, "400 bad_request"},
      {kNames, {{"delimiter", "/"}, {"prefix", "/b"}}, "400 bad_request"},
      {kVersions, json::object(), "b.txt b/0+ b/1 b/2/x c+ c c h/gone- h/gone z \xC3\xA9/x "},
      {kVersions, {{"delimiter", "/"}}, "b.txt b/ c+ c c h/ z \xC3\xA9/ "},
      {kVersions, {{"prefix", "c"}, {"maxFileCount", 2}}, "c+ c > c"},
      {kVersions, {{"startFileName", "h"}, {"maxFileCount", 1}}, "h/gone- > h/gone"},
      {kVersions, {{"startFileName", "c"}, {"startFileId", "x"}}, "400 invalid_file_id"},
      {kVersions, {{"startFileId", "x"}}, "400 bad_request"},
  };
  for (const auto& [call, fields, expected] : rows) {
    EXPECT_EQ(PageText(List(call, fields)), expected) << call << fields;
  }
}

TEST_F(ListingTest, VersionsGoOnBehindADeletedVersion) {
  const json first = List(kVersions, {{"prefix", "c"}, {"maxFileCount", 1}}).Json();
  const std::string next = first["nextFileId"];
  store().Delete("c", next);
  EXPECT_EQ(PageText(List(kVersions, {{"startFileName", "c"}, {"startFileId", next}})),
            "c h/gone- h/gone z \xC3\xA9/x ");
}

// Every way of paging must show what a plain walk over all of them shows.
TEST_F(ListingTest, PagesOfAnySizeAddUpToThePlainListing) {
  Store store({});
  const std::string bucket = store.CreateBucket({.name = "random"}).id;
  std::set<std::string> visible{"a",  "a.", "a./b", "a/.",  "a/a",   "a/a/a", "a/b", "aa",
                                "ab", "b",  "b/a",  "b/a.", "b/a/a", "b/a/b", "ba/a"};
  for (const std::string& name : visible) {
    store.AddFile(bucket, {.name = name}, Content::FromText(name));
  }
  for (const std::string name : {"a.", "a/b", "ba/a"}) {
    store.Hide(bucket, name);
    visible.erase(name);
  }
  for (const std::string prefix : {"", "a", "a/", "b/a", "nothing"}) {
    for (const std::string delimiter : {"", "/", "."}) {
      std::vector<std::string> expected;
      for (const std::string& name : visible) {
        if (!name.starts_with(prefix)) continue;
        const size_t end = delimiter.empty() ? name.npos : name.find(delimiter, prefix.size());
        const std::string entry = end == name.npos ? name : name.substr(0, end + 1);
        if (expected.empty() || expected.back() != entry) expected.push_back(entry);
      }
      for (const size_t count : {1, 2, 3, 7, 1000}) {
        std::vector<std::string> walked;
        ListQuery query{.prefix = prefix, .delimiter = delimiter, .max_count = count};
        std::optional<ListEntry> next;
        do {
          const ListPage page = store.ListNames(bucket, query);
          for (const ListEntry& entry : page.entries) walked.push_back(entry.Name());
          next = page.next;
          if (next) query.start_name = next->Name();
        } while (next);
        EXPECT_EQ(walked, expected) << prefix << "|" << delimiter << "|" << count;
      }
    }
  }
}

}  // namespace
}  // namespace emulator
