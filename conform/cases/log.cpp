#include <zlib.h>

#include <algorithm>
#include <regex>

#include "conform/cases.h"
#include "conform/drive.h"
#include "protocol/log_lines.h"

// Lines that hosts read or show.
namespace conform {
namespace {

constexpr char kNames[] = "b2_list_file_names";

const std::regex kAnswer(
    R"(\[PROTOCOL  \] (\w+) >> HTTPS (GET|POST) >> (\d{3}) : (https://[^(]+)\((\d+)\) - (\d+)ms)");

// The fields of the only line of an answer.
std::smatch OnlyAnswer(const std::vector<Line>& lines, std::string& text) {
  std::smatch fields;
  for (const Line& line : lines) {
    text = line.text;
    if (line.level == LOGLEVEL_INFO && std::regex_match(text, fields, kAnswer)) return fields;
  }
  throw std::runtime_error("there is no line of an answer");
}

void TellsAnswers() {
  Drive drive;
  drive.log.Take();
  drive.service.Fault(
      {{"call", kNames}, {"status", 403}, {"body", "refused"}, {"delayMilliseconds", 300}});
  List list;
  drive.GetList(drive.service.bucket(), list);
  std::string text;
  const std::smatch fields = OnlyAnswer(drive.log.Take(), text);
  Equal("query", fields.str(1), std::string(query::kListObjects));
  Equal("method", fields.str(2), "POST");
  Equal("status", fields.str(3), "403");
  Equal("URL", fields.str(4), "https://api001.backblazeb2.com/b2api/v1/b2_list_file_names");
  Equal("bytes", fields.str(5), "7");
  const int milliseconds = std::stoi(fields.str(6));
  True("milliseconds: " + fields.str(6), milliseconds >= 300 && milliseconds < 60'000);
}

void NamesQueries() {
  Drive drive(kSmallParts);
  const std::string file = drive.Put("d/f", "contents");
  drive.Names(drive.service.bucket());
  drive.Names("");
  drive.ReadAll(file, 8);
  drive.Upload("small", "1");
  drive.Upload("large", Bytes(250'000));
  drive.CreateDirectory("", "bucket-two");
  drive.Delete(drive.Put("gone", "1"));
  Texts seen;
  for (const Line& line : drive.log.Take()) {
    std::smatch fields;
    if (line.level != LOGLEVEL_INFO || !std::regex_match(line.text, fields, kAnswer)) continue;
    if (std::ranges::find(seen, fields.str(1)) == seen.end()) seen.push_back(fields.str(1));
  }
  std::ranges::sort(seen);
  Texts wanted = {query::kAuthorize,      query::kListObjects,   query::kListBuckets,
                  query::kRead,           query::kUploadUrl,     query::kUploadSingle,
                  query::kStartLargeFile, query::kUploadPartUrl, query::kUploadLargeFile,
                  query::kCreateBucket,   query::kFileInfo,      query::kListVersions,
                  query::kDeleteVersion};
  std::ranges::sort(wanted);
  Equal("queries", seen, wanted);
}

void TellsCalls() {
  Drive drive;
  const std::string bucket = drive.service.bucket(), file = drive.Put("f", "contents");
  _FS_FILE_V2 record = RecordOf("n"), of_file = RecordOf("f", 0, file);
  List list;
  Fetched fetched;
  drive.log.Take();
  drive.object->Rename("a", "b", &record, nullptr);
  drive.object->Move("a", "b", &record, nullptr);
  drive.object->MoveDir("a", "b", &record, nullptr);
  drive.object->Upload(nullptr, nullptr, nullptr, &record, UPLOAD_DEFAULT, nullptr);
  drive.GetList("", list);
  drive.Read(file, 0, 5, fetched);
  drive.Info(file, FS_FILE, of_file);
  drive.object->Delete(&of_file, nullptr);
  drive.CreateDirectory(bucket, "new");
  drive.DeleteDirectory(bucket);
  for (Text text :
       {std::string("Rename id [a], target [b], filename [n]"),
        std::string("Move id [a], target [b] file->filename[n]"),
        std::string("MoveDir id [a], target [b] file->filename[n]"),
        std::string("Upload id [(null)], name [n]"), std::string("GetFileList id: []"),
        "Read [" + file + "] offset 0, length 5", "_GetFileInfo id [" + file + "]",
        "Delete filename [f], id [" + file + "]",
        "CreateDirectory bucket_id [" + bucket + "], object_name [new]",
        "DeleteDirectory filename [], id [" + bucket + "]", "DeleteBucket id [" + bucket + "]"}) {
    True("level 1: " + text, drive.log.Has(LOGLEVEL_TRACE, "[PROTOCOL  ] " + text));
  }
}

void TellsOutcomes() {
  Drive drive;
  const std::string file = drive.Put("f", Bytes(2'000'000));
  drive.service.Fail(kNames, 429);
  drive.Names(drive.service.bucket());
  Fetched refusing;
  refusing.on_block = [] { throw std::runtime_error("disk"); };
  drive.Read(file, 0, 2'000'000, refusing);
  const std::pair<int, const char*> rows[] = {
      {LOGLEVEL_INFO, "GetFileList_ObjectList >> 5 time(s) backoff left"},
      {LOGLEVEL_TRACE, "GetFileList_ObjectList >> Backoff done. Retry"},
      {LOGLEVEL_TRACE,
       "GetFileList_ObjectList >> ON HTTP RANGE 200(200) : AERROR::SUCCESS(0x00000000)"},
      {LOGLEVEL_TRACE,
       "Read >> Failed writing received data to disk/application(23) treat as "
       "AERROR::READ_CANCELED"}};
  for (const auto& [level, text] : rows) {
    True("level " + std::to_string(level) + ": " + text,
         drive.log.Has(level, std::string("[PROTOCOL  ] ") + text));
  }
}

void TellsThatNobodyAnswers() {
  Drive drive;
  drive.SetOpt("option_fields", ProxyForm(1));  // where nothing listens
  List list;
  drive.log.Take();
  const Object other = drive.module.NewObject();
  Equal("Connect", other->Connect(nullptr, AccountForm().c_str()), ACCESS_VIOLATION);
  Equal("GetFileList", drive.GetList("", list), FAILED);
  for (const char* name : {query::kAuthorize, query::kListBuckets}) {
    True(std::string("the line of ") + name,
         drive.log.HasPart(LOGLEVEL_ERROR, std::string("[PROTOCOL  ] ") + name + " >> ") &&
             drive.log.HasEnd(LOGLEVEL_ERROR, "(7)"));
  }
}

void KeepsSecrets() {
  Drive drive(kSmallParts);
  drive.log.traced = false;
  drive.Upload("small", "contents of the file");
  drive.Upload("large", Bytes(250'000));
  drive.service.Fail(kNames, 401);
  List list;
  drive.GetList(drive.service.bucket(), list);
  drive.Connect(AccountForm("another secret"));
  Texts secrets = {Service::kKey, "another secret", Service::kAuthorization,
                   "contents of the file"};
  for (const Json& request : drive.service.Requests()) {
    secrets.push_back(Header(request, "Authorization"));
  }
  for (const Line& line : drive.log.Take()) {
    for (Text secret : secrets) {
      if (line.text.find(secret) != line.text.npos) Find("a line", "no secret", line.text);
    }
    const bool known = line.level == 1 || line.level == 2 || line.level == 4 || line.level == 8;
    True("level 1, 2, 4 or 8: " + line.text, known);
    True("one line, with its category: " + line.text,
         line.text.starts_with("[") && line.text.find('\n') == line.text.npos);
  }
}

// What a body's line holds: hexadecimal digits of a deflated text, without zlib's header.
std::string Inflated(Text digits) {
  std::string packed = "\x78\x9C", text(100'000, '\0');
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    packed += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  uLongf length = text.size();
  const int code = uncompress(reinterpret_cast<Bytef*>(text.data()), &length,
                              reinterpret_cast<const Bytef*>(packed.data()), packed.size());
  return code == Z_OK ? text.substr(0, length) : "";
}

void ShowsBodies() {
  Drive drive;
  Equal("bodies from the start", drive.log.CountParts(" >> \n"), 0);
  drive.SetOpt("VERBOSE", "On");
  drive.Connect();
  const std::string start = std::string("[PROTOCOL  ] ") + query::kAuthorize + " >> \n";
  std::string body;
  for (const Line& line : drive.log.Take()) {
    if (line.level == LOGLEVEL_TRACE && line.text.starts_with(start)) {
      body = Inflated(line.text.substr(start.size()));
    }
  }
  const std::string url = "https://api.backblazeb2.com/b2api/v1/b2_authorize_account\n\n";
  if (True("a line of level 1, with the URL first: " + body.substr(0, 100),
           body.starts_with(url))) {
    const Json answer = Json::parse(body.substr(url.size()), nullptr, false);
    True("and the answer's body", answer.is_object() && answer.contains("authorizationToken"));
  }
  drive.SetOpt("verbose", "off");
  drive.Connect();
  Equal("bodies after it is off", drive.log.CountParts(" >> \n"), 0);
}

void WorksSilently() {
  Drive drive;
  drive.log.Take();
  drive.module.UnbindLogger();
  const std::string file = drive.Put("f", "contents");
  drive.service.Fail(kNames, 503);
  List list;
  Equal("GetFileList", drive.GetList(drive.service.bucket(), list), FAILED);
  Equal("Read", drive.ReadAll(file, 8), "contents");
  Equal("Upload", drive.Upload("g", "1"), SUCCESS);
  Equal("Delete", drive.Delete(file), SUCCESS);
  Equal("lines", drive.log.Take().size(), 0);
}

}  // namespace

std::vector<Case> LogCases() {
  return {{"log.answers", TellsAnswers},
          {"log.queries", NamesQueries},
          {"log.calls", TellsCalls},
          {"log.outcomes", TellsOutcomes},
          {"log.no_answer", TellsThatNobodyAnswers},
          {"log.secrets", KeepsSecrets},
          {"log.bodies", ShowsBodies},
          {"log.none", WorksSilently}};
}

}  // namespace conform
