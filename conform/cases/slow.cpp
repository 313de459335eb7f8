#include <functional>
#include <thread>

#include "conform/cases.h"
#include "conform/drive.h"

// What takes 20 seconds or more by its nature; the rows of a case wait side by side.
namespace conform {
namespace {

struct Row {
  const char* call;
  std::function<AERROR()> run;
  AERROR code;
};

void TimesOut() {
  Drive drive({"--recommended-part-size=1000", "--minimum-part-size=100"});
  const std::string file = drive.Put("f", "0123456789"), large(3000, 'x');
  List list;
  Fetched fetched;
  _FS_FILE_V2 record;
  const Row rows[] = {
      {"b2_list_file_names", [&] { return drive.GetList(drive.service.bucket(), list); }, TIMEDOUT},
      {"b2_list_buckets",
       [&] {
         List own;
         return drive.GetList("", own);
       },
       TIMEDOUT},
      {"b2_get_file_info", [&] { return drive.Info(file, FS_FILE, record); }, TIMEDOUT},
      {"b2_download_file_by_id", [&] { return drive.Read(file, 0, 10, fetched); }, TIMEDOUT},
      {"b2_get_upload_url", [&] { return drive.Upload("no URL", "1"); }, FAILED},
      {"b2_upload_file", [&] { return drive.Upload("small", "1"); }, TIMEDOUT},
      {"b2_start_large_file", [&] { return drive.Upload("no start", large); }, FAILED},
      {"b2_finish_large_file", [&] { return drive.Upload("no finish", large); }, TIMEDOUT}};
  std::vector<std::jthread> threads;
  for (const Row& row : rows) {
    const int before = drive.service.Count(row.call);
    drive.service.Fault({{"call", row.call}, {"stall", true}});
    threads.emplace_back([&row] { Equal(row.call, row.run(), row.code); });
    // Until its request has come, so that no other row's meets the fault.
    while (drive.service.Count(row.call) == before) std::this_thread::yield();
  }
}

void StopsAsking() {
  Drive drive;
  drive.service.Fail("b2_list_buckets", 429, Service::kAlways);
  drive.service.Forget();
  List list;
  Equal("GetFileList", drive.GetList("", list), FAILED);
  Equal("requests", drive.service.Count("b2_list_buckets"), 6);
  True("the line of level 8", drive.log.Has(LOGLEVEL_ERROR,
                                            "[PROTOCOL  ] GetFileList_BucketList "
                                            ">> No more backoff"));
}

}  // namespace

std::vector<Case> SlowCases() {
  return {{.name = "slow.timeouts", .run = TimesOut, .slow = true},
          {.name = "slow.backoff", .run = StopsAsking, .slow = true}};
}

}  // namespace conform
