#include <algorithm>
#include <tuple>

#include "conform/cases.h"
#include "conform/drive.h"

// What a host may switch on with SetOpt, by its visible effect.
namespace conform {
namespace {

constexpr char kDownload[] = "b2_download_file_by_id";
constexpr char kNames[] = "b2_list_file_names";
constexpr char kTime[] = "2001-02-03T04:05:06.789Z";

void IsStrictWithReads() {
  Drive drive;
  const std::string file = drive.Put("f", "0123456789");
  Fetched lax;
  drive.service.Fault({{"call", kDownload}, {"ignoreRange", true}});
  Equal("the whole in place of a range", drive.Read(file, 3, 4, lax), SUCCESS);
  drive.SetOpt("strict_answers", "true");
  const Json rows[] = {{{"ignoreRange", true}},
                       {{"status", 206}, {"body", "3456"}},
                       {{"status", 200}, {"body", "012"}}};
  for (Json fault : rows) {
    fault["call"] = kDownload;
    drive.service.Fault(fault);
    Fetched fetched;
    Equal("strictly, " + fault.dump(), drive.Read(file, 3, 4, fetched), FAILED);
    Equal("bytes, " + fault.dump(), fetched.bytes, "");
  }
  Equal("a right answer", drive.ReadAll(file, 10), "0123456789");
}

void IsStrictWithListings() {
  Drive drive({"--seed", "bucket-one/f:2500:1"});
  drive.SetOpt("strict_answers", "true");
  drive.service.Fault({{"call", kNames}, {"times", -1}, {"repeatCursor", true}});
  List list;
  Equal("a listing without end", drive.GetList(drive.service.bucket(), list), FAILED);
  drive.service.Heal();
  Equal("one with an end", drive.Names(drive.service.bucket()).size(), 2500);
}

void KeepsTimesAndDetails() {
  Drive drive;
  drive.SetOpt("keep_times", "true");
  drive.SetOpt("file_details", "true");
  Cache cache("contents");
  _FS_FILE_V2 file = RecordOf("f", cache.bytes.size());
  file.second_time = kTime;
  file.texts = {"type=a/b", "info.key=value"};
  Equal("Upload", drive.Upload(drive.service.bucket(), cache, file), SUCCESS);
  const Json newest = drive.service.Newest("f");
  Equal("stored type", newest.value("contentType", ""), "a/b");
  Equal("stored time", newest.at("fileInfo").value("src_last_modified_millis", ""), "981173106789");
  const _FS_FILE_V2 listed = drive.Only(drive.service.bucket());
  Equal("listed time", listed.second_time, std::string(kTime));
  Equal("listed texts", Texts(listed.texts.begin(), listed.texts.end()),
        Texts{"sha1=4a756ca07e9487f482465a99e8286abc86ba4dc7", "type=a/b", "action=upload",
              "info.key=value", "info.src_last_modified_millis=981173106789"});
  drive.service.Forget();
  _FS_FILE_V2 odd = RecordOf("g", cache.bytes.size());
  odd.texts = {"type=a\r\nb"};
  Equal("what the service does not take", drive.Upload(drive.service.bucket(), cache, odd),
        INVALID_PARAMETER);
  Equal("requests of that", drive.service.Calls(), Texts{});
}

void Hides() {
  Drive drive;
  drive.SetOpt("hide_on_delete", "true");
  const std::string file = drive.Put("f", "1");
  drive.Put("d/a", "1");
  Equal("Delete", drive.Delete(file), SUCCESS);
  Equal("DeleteDirectory", drive.DeleteDirectory(drive.Id("d")), SUCCESS);
  Equal("visible names", drive.service.Names(), Texts{});
  Equal("versions of the file", drive.service.Versions("f").size(), 2);
  Equal("versions in the folder", drive.service.Versions("d/a").size(), 2);
}

void Renames() {
  Drive drive;
  drive.SetOpt("server_copy", "true");
  const std::string file = drive.Put("d/a", "contents"), bucket = drive.service.bucket();
  _FS_FILE_V2 out;
  Equal("Rename", drive.object->Rename(file.c_str(), "b", &out, nullptr), SUCCESS);
  Equal("names", drive.service.Names(), Texts{"d/b"});
  Equal("the copy", drive.ReadAll(out.id, 8), "contents");
  _FS_FILE_V2 moved = RecordOf("c");
  const std::string folder = bucket + "/e";
  Equal("Move", drive.object->Move(out.id.c_str(), folder.c_str(), &moved, nullptr), SUCCESS);
  Equal("names then", drive.service.Names(), Texts{"e/c"});
  _FS_FILE_V2 renamed = RecordOf("g");
  Equal("MoveDir", drive.object->MoveDir(folder.c_str(), bucket.c_str(), &renamed, nullptr),
        SUCCESS);
  Equal("names at last", drive.service.Names(), Texts{"g/c"});
  drive.SetOpt("server_copy", "keep");
  Equal("Move that keeps",
        drive.object->Move(drive.Id(drive.service.Versions("g/c").at(0)).c_str(), bucket.c_str(),
                           &moved, nullptr),
        SUCCESS);
  Equal("both names", drive.service.Names(), Texts{"c", "g/c"});
}

void ShowsVersions() {
  Drive drive;
  const std::string old = drive.Put("d/a", "old");
  drive.Put("d/a", "newer");
  drive.Put("d/gone/b", "b");
  drive.service.Hide("d/a");
  drive.service.Hide("d/gone/b");
  drive.SetOpt("view", "versions");
  List list;
  Equal("GetFileList", drive.GetList(drive.Id("d"), list), SUCCESS);
  Equal("names", list.Names(), Texts{"a", "a", "a", "gone/"});
  Texts kinds;
  for (const auto& record : list.records) {
    if (record.type == FS_FILE) kinds.push_back(record.texts.empty() ? "" : record.texts.front());
  }
  Equal("kinds, newest first", kinds, Texts{"action=hide", "action=upload", "action=upload"});
  Equal("the oldest", drive.ReadAll(old, 3), "old");
  Equal("Delete of the oldest", drive.Delete(old), SUCCESS);
  Equal("versions left", drive.service.Versions("d/a").size(), 2);
}

void ShowsUnfinished() {
  Drive drive(kSmallParts);
  drive.service.Fail("b2_upload_part", 403, 1, 2);
  Equal("an upload that fails", drive.Upload("large", Bytes(250'000)), FAILED);
  drive.SetOpt("view", "unfinished");
  const _FS_FILE_V2 record = drive.Only(drive.service.bucket());
  Equal("its name", record.name, "large");
  Equal("bytes that are there", record.size, 200'000);
  Equal("Delete", drive.Delete(record.id), SUCCESS);
  Equal("once more", drive.Delete(record.id), FILE_NOT_FOUND);
  Equal("what is left unfinished", drive.service.UnfinishedFiles(), 0);
  Equal("DeleteDirectory", drive.DeleteDirectory(drive.Id("d")), NOT_SUPPORTED);
}

void UploadsByParts() {
  Drive drive(kSmallParts);
  for (const char* key : {"cancel_failed_uploads", "verify_uploads", "reuse_upload_urls"}) {
    drive.SetOpt(key, "true");
  }
  drive.SetOpt("upload_part_size", "1000");
  drive.SetOpt("upload_connections", "4");
  const std::string bytes = Bytes(10'500);
  drive.service.Fault({{"call", "b2_upload_part"}, {"skip", 2}, {"flipByte", 5}});
  drive.service.Fail("b2_upload_part", 503, 1, 5);
  Equal("Upload with a broken part and a refused one", drive.Upload("large", bytes), SUCCESS);
  drive.service.Fail("b2_upload_part", 403);
  Equal("Upload that fails", drive.Upload("none", bytes), FAILED);
  Equal("what it leaves", drive.service.UnfinishedFiles(), 0);
  drive.service.Forget();
  for (const char* name : {"a", "b", "c"}) Equal("Upload", drive.Upload(name, name), SUCCESS);
  Equal("URLs asked for", drive.service.Count("b2_get_upload_url"), 1);
  drive.service.Fault({{"call", "b2_upload_file"}, {"flipByte", 0}});
  Equal("a broken one", drive.Upload("d", "d"), SUCCESS);
  Contents wanted = {{"a", "a"}, {"b", "b"}, {"c", "c"}, {"d", "d"}, {"large", bytes}};
  True("all is stored", drive.service.Stored() == wanted);
}

}  // namespace

std::vector<Case> OptionsCases() {
  return {{"options.strict_reads", IsStrictWithReads},
          {"options.strict_listings", IsStrictWithListings},
          {"options.details", KeepsTimesAndDetails},
          {"options.hide", Hides},
          {"options.server_copy", Renames},
          {"options.versions", ShowsVersions},
          {"options.unfinished", ShowsUnfinished},
          {"options.parts", UploadsByParts}};
}

}  // namespace conform
