#include <fstream>
#include <regex>
#include <sstream>

#include "tests/support/drive_test.h"

namespace {

// A host that sets no option: what it makes the service see and its log show is written down in
// recorded_session.txt, byte for byte but for what differs from run to run.
class RecordedSessionTest : public DriveTest {
 protected:
  RecordedSessionTest() : DriveTest(kPart) { service->ClearRequests(); }

  static constexpr int kPart = 1000;  // bytes

  void Note(Text title, AERROR result, const _FS_FILE_V2& record = {}) {
    session += "# " + title + ": " + GetAERRORA(result) + "\n";
    if (!record.id.empty()) session += "record " + record.id + " " + record.name + "\n";
    for (Text line : log.Take()) session += "log " + line + "\n";
    for (const auto& request : service->requests()) Note(request);
    service->ClearRequests();
  }
  void Note(const emulator::Request& request) {
    if (request.call == "CONNECT") return;
    session += request.method + " " + request.host + request.target + " " +
               std::to_string(request.body_bytes) + "\n";
    Texts headers;
    for (const auto& [name, value] : request.headers) {
      if (!name.starts_with("Accept") && name != "Host") headers.push_back(name + ": " + value);
    }
    std::ranges::sort(headers);
    for (Text header : headers) session += "  " + header + "\n";
    if (!request.body.empty()) session += "  " + request.body + "\n";
  }

  void Put(Text name, int size) {
    MemoryCache cache(std::string(static_cast<std::size_t>(size), 'x'));
    _FS_FILE_V2 file = RecordOf(name, cache.bytes.size());
    const AERROR result = UploadFrom(cache, bucket + "/dir", file);
    Note("Upload " + name, result, file);
  }
  void Info(Text id, FS_FILE_TYPE type) {
    _FS_FILE_V2 record = RecordOf("n", 0, "");
    record.type = type;
    const AERROR result = drive->GetFileInfo(id.c_str(), &record, nullptr);
    Note("GetFileInfo", result, record);
  }
  void Make(Text parent, Text name) {
    _FS_FILE_V2 record = RecordOf(name);
    const AERROR result = drive->CreateDirectory(parent.c_str(), &record, nullptr);
    Note("CreateDirectory", result, record);
  }
  void Listing(Text id) {
    FileList list;
    Note("GetFileList", drive->GetFileList(id.c_str(), &list, nullptr));
  }

  std::string Normalized() const {
    std::string text = session;
    for (const auto& [from, to] : std::vector<std::pair<std::string, std::string>>{
             {"4_[0-9a-f]+_[0-9a-f]+_(acct|upld)", "TOKEN_$1"},
             {"4_z[0-9a-z_]+", "FILE"},
             {bucket, "BUCKET"},
             {service->account_id(), "ACCOUNT"},
             {"Basic [^\n]+", "Basic CREDENTIALS"},
             {"\\b[0-9a-f]{24}\\b", "OTHER_BUCKET"},
             {"c001_v0001000_[0-9a-f]+", "OPAQUE"},
             {"\\([0-9]+\\) - [0-9]+ms", "(B) - Nms"},
             {"[0-9]+\\.[0-9]+\\.[0-9]+", "VERSION"}}) {
      text = std::regex_replace(text, std::regex(from), to);
    }
    return text;
  }

  std::string session;
};

TEST_F(RecordedSessionTest, IsAsItWasWithoutOptions) {
  Note("Connect", Connect());
  Listing("");
  Listing(bucket);
  Make("", "another");
  Make(bucket, "dir");
  for (const int size : {0, kPart - 1, kPart, 2 * kPart + 1}) Put("f" + std::to_string(size), size);
  for (const auto& [name, call, status, skip] : {std::tuple{"a", "b2_upload_file", 401, 0},
                                                 {"a", "b2_upload_file", 503, 0},
                                                 {"a", "b2_get_upload_url", 503, 0},
                                                 {"b", "b2_upload_part", 500, 1},
                                                 {"b", "b2_upload_part", 503, 2},
                                                 {"b", "b2_finish_large_file", 401, 0},
                                                 {"b", "b2_finish_large_file", 503, 0},
                                                 {"b", "b2_start_large_file", 500, 0},
                                                 {"b", "b2_get_upload_part_url", 429, 0}}) {
    Fail(call, status, 1, skip);
    Put(name, *name == 'a' ? 5 : 2500);
  }
  Listing(bucket + "/dir");
  const std::string file = Store("g", "0123456789");
  Store("g", "newer");
  Info(file, FS_FILE);
  Info(bucket + "/dir", FS_DIRECTORY);
  Info(bucket, FS_DIRECTORY);
  FetchedBytes bytes;
  Note("Read", Read(file, 2, 5, bytes));
  _FS_FILE_V2 record = RecordOf("n");
  Note("Rename", drive->Rename("a", "b", &record, nullptr));
  Note("Move", drive->Move("a", "b", &record, nullptr));
  Note("MoveDir", drive->MoveDir("a", "b", &record, nullptr));
  Note("SetFileTime", drive->SetFileTime("a", "", "", "", &record, nullptr));
  Note("GetChanges", drive->GetChanges(nullptr, nullptr));
  Note("Delete", Delete(file));
  Note("DeleteDirectory", DeleteDirectory(bucket + "/dir"));
  Note("DeleteDirectory", DeleteDirectory(bucket));

  std::stringstream recorded;
  recorded << std::ifstream(B2_RECORDED_SESSION).rdbuf();
  EXPECT_EQ(Normalized(), recorded.str());
}

}  // namespace
