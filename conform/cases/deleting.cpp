#include "conform/cases.h"
#include "conform/drive.h"

// Delete and DeleteDirectory.
namespace conform {
namespace {

constexpr char kDelete[] = "b2_delete_file_version";
constexpr char kVersions[] = "b2_list_file_versions";

void DeletesVersions() {
  Drive drive;
  for (const char* name : {"a.txt", "a.txt.bak", "a.txt/child", "b"}) drive.Put(name, "1");
  Equal("Delete", drive.Delete(drive.Put("a.txt", "2")), SUCCESS);
  Equal("what is left: no name that begins so", drive.service.Names(), Texts{"b"});
  Equal("versions left", drive.service.Versions("a.txt").size(), 0);
  Equal("no record", drive.object->Delete(nullptr, nullptr), FAILED);
}

void DeletesExactly() {
  Drive drive;
  drive.SetOpt("exact_delete", "True");
  for (const char* name : {"a.txt", "a.txt.bak", "a.txt/child", "a.txt~"}) drive.Put(name, "1");
  Equal("Delete", drive.Delete(drive.Put("a.txt", "2")), SUCCESS);
  Equal("what is left", drive.service.Names(), Texts{"a.txt.bak", "a.txt/child", "a.txt~"});
  Equal("versions left", drive.service.Versions("a.txt").size(), 0);
}

void LeavesWhatChanged() {
  Drive drive;
  drive.SetOpt("exact_delete", "true");
  drive.SetOpt("delete_if_unchanged", "true");
  const std::string old = drive.Put("a", "old"), newest = drive.Put("a", "new");
  const std::string hidden = drive.Put("h", "1");
  drive.service.Hide("h");
  Equal("an older version", drive.Delete(old), SHARING_VIOLATION);
  Equal("a hidden one", drive.Delete(hidden), SHARING_VIOLATION);
  Equal("deletions so far", drive.service.Count(kDelete), 0);
  drive.service.Fail(kVersions, 503);
  Equal("while versions cannot be listed", drive.Delete(newest), FAILED);
  Equal("the newest", drive.Delete(newest), SUCCESS);
  Equal("versions left", drive.service.Versions("a").size(), 0);
  Equal("what is gone already", drive.Delete(newest), SUCCESS);
}

void DeletesFolders() {
  Drive drive;
  for (const char* name : {"d/.bzEmpty", "d/e/f", "d/g", "dd"}) drive.Put(name, "1");
  Equal("DeleteDirectory", drive.DeleteDirectory(drive.Id("d")), SUCCESS);
  Equal("what is left", drive.service.Names(), Texts{"dd"});
  Equal("a bucket that is not empty", drive.DeleteDirectory(drive.service.bucket()), FAILED);
  Equal("the root", drive.DeleteDirectory("/"), FAILED);
  Equal("no record", drive.object->DeleteDirectory(nullptr, nullptr), FAILED);
  Equal("what is left after those", drive.service.Names(), Texts{"dd"});
  Equal("its only file", drive.Delete(drive.Only(drive.service.bucket()).id), SUCCESS);
  Equal("the empty bucket", drive.DeleteDirectory(drive.service.bucket()), SUCCESS);
  Equal("the root then", drive.Names(""), Texts{});
}

void ForbidsFolders() {
  Drive drive;
  drive.Put("d/f", "1");
  drive.SetOpt("enable_delete_folder", "yes");  // anything but "true"
  drive.service.Forget();
  Equal("forbidden", drive.DeleteDirectory(drive.Id("d")), ACCESS_DENIED);
  True("is said at level 4",
       drive.log.Has(LOGLEVEL_WARNING, "[PROTOCOL  ] DeleteFolder not allowed by user"));
  Equal("requests", drive.service.Calls(), Texts{});
  const std::pair<std::string, AERROR> rows[] = {{"true", SUCCESS}, {"false", ACCESS_DENIED}};
  for (const auto& [value, code] : rows) {
    drive.Put("d/f", "1");
    drive.SetOpt("option_fields", R"({"values":{"enable_delete_folder":{"value":)" + value + "}}}");
    Equal("by the form: " + value, drive.DeleteDirectory(drive.Id("d")), code);
  }
  drive.SetOpt("ENABLE_DELETE_FOLDER", "TRUE");
  Equal("allowed in capitals", drive.DeleteDirectory(drive.Id("d")), SUCCESS);
}

void StopsAtFailures() {
  Drive drive;
  for (const char* name : {"d/1", "d/2", "d/3"}) drive.Put(name, "1");
  drive.service.Fail(kDelete, 503, 1, 1);
  Equal("the second deletion refused", drive.DeleteDirectory(drive.Id("d")), FAILED);
  Equal("what is left", drive.service.Names(), Texts{"d/2", "d/3"});
  drive.service.Fail(kVersions, 503);
  Equal("the listing refused", drive.DeleteDirectory(drive.Id("d")), FAILED);
  Equal("what is left then", drive.service.Names(), Texts{"d/2", "d/3"});
  const std::string file = drive.Put("f", "1");
  drive.service.Fail(kDelete, 403);
  Equal("a file's deletion refused", drive.Delete(file), FAILED);
  drive.service.Fail(kVersions, 503);
  Equal("a file's listing, which is not reported", drive.Delete(file), SUCCESS);
}

}  // namespace

std::vector<Case> DeletingCases() {
  return {{"deleting.file", DeletesVersions},      {"deleting.exact", DeletesExactly},
          {"deleting.changed", LeavesWhatChanged}, {"deleting.folder", DeletesFolders},
          {"deleting.forbidden", ForbidsFolders},  {"deleting.failures", StopsAtFailures}};
}

}  // namespace conform
