// Listings over pages of any kind: they end, and pages as the service makes them give the records
// that a simple model gives.

#include <set>
#include <vector>

#include "tests/fuzz/scripted_pool.h"

namespace {

// "NEXT NAME NAME/ ...": files and folders below the prefix, the next page beginning at NEXT; or an
// answer as it is, if the line begins with a brace.
struct Page {
  Page(const std::string& line, const std::string& prefix) : text(line), made(line[0] != '{') {
    if (!made) return;
    fuzz::Input words(line);
    next = words.Word();
    while (!words.AtEnd()) names.push_back(words.Word());
    JsonObject answer(R"({"files":[]})");
    for (const std::string& name : names) {
      JsonObject file(R"({"contentLength":7,"uploadTimestamp":1700000000000})");
      file["fileName"] = prefix + name;
      file["fileId"] = name;
      file["action"] = std::string(name.ends_with('/') ? "folder" : "upload");
      answer["files"].InsertArrayItem(file);
    }
    answer["nextFileName"] = next;
    text = answer.ToText();
  }

  std::string text;
  bool made;
  std::string next;
  std::vector<std::string> names;
};

// The pages of a listing, and what they should give.
struct Script {
  Script(fuzz::Input& input, const std::string& prefix) {
    while (!input.AtEnd()) {
      std::string line = input.Line();
      // Other bytes come in answers that are taken as they are.
      const auto odd = [&](char byte) { return byte <= 0 && line[0] != '{'; };
      std::ranges::replace_if(line, odd, '?');
      const Page& page = pages.emplace_back(line, prefix);
      if (!complete) fits = fits && page.made && AddRecords(page, prefix);
      complete = complete || (page.made && page.next.empty());
      cursors.insert(page.next);
    }
  }
  // "ID NAME" of each record; false for a name that fails the listing.
  bool AddRecords(const Page& page, const std::string& prefix) {
    for (std::string name : page.names) {
      if (name.empty() && !prefix.empty()) return false;
      const bool folder = name.ends_with('/');
      if (folder) name.pop_back();
      if (folder) records.push_back("bucket/" + prefix + name + " " + name);
      if (!folder && !name.ends_with(".bzEmpty")) records.push_back("bucket/" + name + " " + name);
    }
    return true;
  }

  std::vector<Page> pages;
  std::set<std::string> cursors;
  std::vector<std::string> records;
  bool complete = false;
  bool fits = true;
};

}  // namespace

// "strict|lax once|again NAME": whether the first page follows the last, and the folder. Then the
// pages.
void fuzz::Run(Input& input) {
  fuzz::Input first(input.Line());
  const bool strict = first.Pick("sl") == 's';
  const bool again = first.Pick("oa") == 'a';
  const std::string prefix = first.AtEnd() ? "" : "folder/";
  const Script script(input, prefix);
  const auto& pages = script.pages;
  std::size_t asked = 0;
  const std::size_t most = strict && again ? 4 * pages.size() + 200 : pages.size();
  fuzz::ScriptedRequest::AnswerWith([&](const fuzz::Transfer&) {
    if (pages.empty() || asked++ == most) return fuzz::AnswerOf("!7");
    return fuzz::AnswerOf(200, pages[(asked - 1) % pages.size()].text);
  });
  BackBlazeB2 drive("", nullptr);
  drive.SetOpt("strict_answers", strict ? "true" : "false");
  FileList list;
  const AERROR code =
      drive.GetFileList(prefix.empty() ? "bucket" : "bucket/folder", &list, nullptr);
  fuzz::Must(!strict || !again || asked <= most, "a listing ends");
  if (!script.fits || !script.complete) return;
  const bool advances = script.cursors.size() == pages.size() && pages.size() < 100;
  fuzz::Must(code == AERROR::SUCCESS || (strict && !advances), "a listing succeeds");
  std::vector<std::string> records;
  for (const auto& file : list.GetFileList()) records.push_back(file->id + " " + file->name);
  fuzz::Must(code != AERROR::SUCCESS || records == script.records, "a listing's records");
}
