// The host learns what the service answered from the module's log alone: from the line of each
// transfer, and from no line that shows a text of the user's.

#include "host/plugin/answer.h"
#include "protocol/log.h"
#include "tests/fuzz/wire.h"
#include "tests/support/recording_log.h"

namespace {

using b2drive::Answer;

std::string Shown(int status, const std::string& transport) {
  return std::to_string(status) + transport;
}

}  // namespace

// "verbose|quiet OPERATION NUMBER TEXT", then a line for the answer of each transfer.
void fuzz::Run(Input& input) {
  fuzz::Input words(input.Line());
  std::vector<std::string> made;
  fuzz::ScriptedRequest::AnswerWith([&](const fuzz::Transfer& transfer) {
    _CURLRTN result = fuzz::AnswerOf(input.AtEnd() ? "!7" : input.Line());
    if (result.code == CURLE_OK) {
      const std::string body(result.body.get(), static_cast<std::size_t>(result.bodyLength));
      result = SendOver(transfer, "HTTP/1.1 " + std::to_string(result.httpCode) +
                                      " x\r\nContent-Length: " + std::to_string(body.size()) +
                                      "\r\n\r\n" + body);
    }
    const auto code = static_cast<CURLcode>(result.code);
    const std::string why = CURLImpl::ErrorString(code) + "(" + std::to_string(code) + ")";
    if (code != CURLE_FAILED_INIT) {  // no transfer of its own
      made.push_back(Shown(static_cast<int>(result.httpCode), code == CURLE_OK ? "" : why));
    }
    return result;
  });
  BackBlazeB2 drive("", nullptr);
  drive.SetAuthorizedInfo(R"({"authorizationToken":"t","apiUrl":"","downloadUrl":"",)"
                          R"("recommendedPartSize":100})");
  drive.SetOpt("verbose", words.Pick("qv") == 'v' ? "on" : "off");
  RecordingLog log;
  logger = &log;
  Operate(drive, words);
  logger = nullptr;
  std::vector<std::string> read;
  for (const std::string& line : log.Take()) {
    Answer answer;
    const auto level = static_cast<LOGLEVEL>(line[0] - '0');
    if (ReadAnswer(level, line.substr(2), answer)) {
      read.push_back(Shown(answer.status, answer.transport));
    }
  }
  fuzz::Must(read == made, "each transfer is one answer");
}
