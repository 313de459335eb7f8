#include <algorithm>
#include <regex>

#include "conform/cases.h"
#include "conform/drive.h"

// GetFileList: what a folder holds, page by page.
namespace conform {
namespace {

constexpr char kNames[] = "b2_list_file_names";
constexpr char kBuckets[] = "b2_list_buckets";
constexpr int kPage = 1000;

std::string Entry(Text name, Text length = "1", Text timestamp = "1500000000123") {
  return R"({"action":"upload","fileId":"i","contentLength":)" + length + R"(,"uploadTimestamp":)" +
         timestamp + R"(,"fileName":")" + name + "\"}";
}

std::string Page(Text entries, Text next = "") {
  return R"({"nextFileName":")" + next + R"(","files":[)" + entries + "]}";
}

bool IsTime(Text text) {
  static const std::regex time(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d{3})?Z?)");
  return std::regex_match(text, time);
}

void ListsBuckets() {
  Drive drive;
  const std::string second = drive.service.MakeBucket("bucket-two");
  for (const char* root : {"", "/", "//"}) {
    Equal(std::string("the root as [") + root + "]", drive.Names(root),
          Texts{"bucket-one/", "bucket-two/"});
  }
  List list;
  drive.GetList("", list);
  const _FS_FILE_V2& record = list.records.at(1);
  Equal("identifier", record.id, second);
  Equal("type", +record.type, +FS_DIRECTORY);
  Equal("size", record.size, 0);
  True("time", IsTime(record.first_time) && record.first_time == record.second_time &&
                   record.first_time == record.third_time);
  drive.service.AnswerWith(kBuckets, R"({"buckets":[]})");
  Equal("an account without buckets", drive.Names(""), Texts{});
}

void ListsFolders() {
  Drive drive;
  const std::string file = drive.Put("photos/2019/\xC3\xBC b.jpg", "123");
  for (const char* name : {"a.txt", "photos/2019/raw/x", "empty/.bzEmpty"}) drive.Put(name, "");
  const std::string bucket = drive.service.bucket();
  for (Text id : {bucket, "/" + bucket, "//" + bucket + "/"}) {
    Equal("the bucket as [" + id + "]", drive.Names(id), Texts{"a.txt", "empty/", "photos/"});
  }
  for (const char* rest : {"/photos/2019", "//photos//2019"}) {
    Equal("a folder as [" + std::string(rest) + "]", drive.Names(bucket + rest),
          Texts{"raw/", "\xC3\xBC b.jpg"});
  }
  Equal("a folder of nothing but its marker", drive.Names(bucket + "/empty"), Texts{});
  Equal("a folder that is none", drive.Names(bucket + "/nothing"), Texts{});
  List list;
  drive.GetList(bucket + "/photos/2019", list);
  Equal("a folder's identifier", list.records.at(0).id, bucket + "/photos/2019/raw");
  Equal("a folder's type", +list.records[0].type, +FS_DIRECTORY);
  Equal("a folder's size", list.records[0].size, 0);
  Equal("a file's identifier", list.records.at(1).id, file);
  Equal("a file's type", +list.records[1].type, +FS_FILE);
  Equal("a file's size", list.records[1].size, 3);
}

void FillsRecords() {
  Drive drive;
  drive.service.AnswerWith(kNames, Page(Entry("f", "5000000000")));
  const _FS_FILE_V2 record = drive.Only(drive.service.bucket());
  Equal("size in bytes", record.size, 5'000'000'000);
  for (Text time : {record.first_time, record.second_time, record.third_time}) {
    Equal("time, to the second", time, "2017-07-14T02:40:00.000Z");
  }
  Equal("the host's members", record.extra + record.last, std::string());
  Equal("texts", record.texts.size(), 0);
}

void PagesThroughAll() {
  Drive drive({"--seed", "bucket-one/many/f:2500:1"});
  drive.service.Forget();
  const Texts names = drive.Names(drive.service.bucket() + "/many");
  Equal("how many", names.size(), 2500);
  True("each once and in order",
       std::ranges::is_sorted(names) && std::ranges::adjacent_find(names) == names.end());
  const auto requests = drive.service.Requests();
  if (!Equal("requests", requests.size(), 3)) return;
  std::string start;
  for (const Json& request : requests) {
    const Json body = Json::parse(request.at("body").get<std::string>());
    Equal("names of a page", body.value("maxFileCount", 0), kPage);
    Equal("where a page begins", body.value("startFileName", "none"), start);
    Equal("its prefix", body.value("prefix", "none"), "many/");
    const std::size_t next = static_cast<std::size_t>(&request - requests.data() + 1) * kPage;
    if (next < names.size()) start = "many/" + names.at(next);
  }
}

// Pages are attempts of one query: what the service asks to be repeated is one page.
void RepeatsOnePage() {
  Drive drive({"--seed", "bucket-one/f:2500:1"});
  drive.service.Fail(kNames, 429, 1, 1);
  drive.service.Fail(kNames, 429, 1, 2);
  drive.service.Forget();
  const Texts names = drive.Names(drive.service.bucket());
  Equal("how many", names.size(), 2500);
  True("none twice", std::ranges::adjacent_find(names) == names.end());
  Equal("requests", drive.service.Count(kNames), 5);
}

void KeepsEarlierPages() {
  Drive drive({"--seed", "bucket-one/f:2500:1"});
  const Json rows[] = {{{"status", 503}},
                       {{"status", 401}},
                       {{"cutAfter", 100}},
                       {{"status", 200}, {"body", "no JSON"}}};
  for (Json fault : rows) {
    fault.update({{"call", kNames}, {"skip", 2}});
    drive.service.Fault(fault);
    List list;
    Equal("the third page: " + fault.dump(), drive.GetList(drive.service.bucket(), list), FAILED);
    Equal("records of the first two", list.records.size(), 2 * kPage);
  }
}

void GoesOnOverEmptyPages() {
  Drive drive;
  for (Text page : {Page(Entry("a"), "b"), Page("", "c"), Page(Entry("c"))}) {
    drive.service.AnswerWith(kNames, page);
  }
  Equal("names", drive.Names(drive.service.bucket()), Texts{"a", "c"});
  drive.service.AnswerWith(kNames, R"({"nextFileName":null,"files":[]})");
  Equal("a cursor that is null", drive.Names(drive.service.bucket()), Texts{});
}

void RefusesNonsense() {
  Drive drive;
  const std::string folder = drive.Id("p");
  for (Text bad : {std::string("1"), std::string(R"({"action":"folder"})"),
                   std::string(R"({"action":"folder","fileName":"p"})"),
                   std::string(R"({"action":"upload","fileName":"p/b"})"), Entry("p/b", "[]"),
                   Entry("p/b", "1", "[]")}) {
    drive.service.AnswerWith(kNames, Page(Entry("p/a") + "," + bad));
    List list;
    Equal("an entry " + bad, drive.GetList(folder, list), FAILED);
    Equal("the entry before it", list.Names(), Texts{"a"});
  }
  for (Text body : {std::string(), std::string("[]"), std::string("{}"),
                    R"({"files":)" + std::string(200'000, '[')}) {
    for (const bool root : {false, true}) {
      drive.service.AnswerWith(root ? kBuckets : kNames, body);
      List list;
      Equal("an answer " + body.substr(0, 20), drive.GetList(root ? "" : folder, list), FAILED);
    }
  }
}

void TellsItsSink() {
  Drive drive;
  drive.service.MakeBucket("bucket-two");
  List refusing;
  refusing.answer = CANCEL;
  Equal("a sink that refuses", drive.GetList("", refusing), FAILED);
  Equal("what it is still given", refusing.records.size(), 1);
  List throwing;
  throwing.throws = true;
  Equal("a sink that throws", drive.GetList("", throwing), FAILED);
  Equal("no sink", drive.object->GetFileList("", nullptr, nullptr), FAILED);
  List list;
  Equal("no identifier", drive.object->GetFileList(nullptr, &list, nullptr), FAILED);
  Equal("records of that", list.records.size(), 0);
  drive.GetList("", list);
  Equal("calls from other threads", list.foreign_calls, 0);
}

}  // namespace

std::vector<Case> ListingCases() {
  return {{"listing.buckets", ListsBuckets},
          {"listing.folders", ListsFolders},
          {"listing.records", FillsRecords},
          {"listing.pages", PagesThroughAll},
          {"listing.repeated_page", RepeatsOnePage},
          {"listing.failed_page", KeepsEarlierPages},
          {"listing.empty_pages", GoesOnOverEmptyPages},
          {"listing.nonsense", RefusesNonsense},
          {"listing.sink", TellsItsSink}};
}

}  // namespace conform
