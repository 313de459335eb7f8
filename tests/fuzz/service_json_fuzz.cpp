// Every operation and option of the module over answers of any status and body: each ends, with a
// code that hosts know.

#include "tests/fuzz/scripted_pool.h"

namespace {

_CURLRTN Answer(const std::string& line, const fuzz::Transfer& transfer) {
  _CURLRTN result = fuzz::AnswerOf(line);
  if (transfer.download == nullptr || result.body == nullptr) return result;
  const auto count = static_cast<std::size_t>(result.bodyLength);
  if (write_callback_cache_func(result.body.get(), 1, count, transfer.download) == count) {
    return result;
  }
  return fuzz::AnswerOf("!23");
}

// "OPTION TEXT", "connect TEXT", or an operation.
AERROR Execute(BackBlazeB2& drive, const std::string& line) {
  fuzz::Input words(line);
  const std::string name = words.Word();
  if (name == "connect") return drive.Connect(nullptr, words.Rest().c_str());
  if (name.size() > 1) return drive.SetOpt(name.c_str(), words.Rest().c_str());
  return Operate(drive, fuzz::Input(line));
}

}  // namespace

// What to do, a line each; behind it a line for the answer of each of its transfers.
void fuzz::Run(Input& input) {
  fuzz::ScriptedRequest::AnswerWith([&](const fuzz::Transfer& transfer) {
    return Answer(input.AtEnd() ? "!7" : input.Line(), transfer);
  });
  BackBlazeB2 drive("", nullptr);
  while (!input.AtEnd()) {
    const AERROR code = Execute(drive, input.Line());
    fuzz::Must(std::strcmp(GetAERRORA(code), "Unknown") != 0, "a code that hosts know");
  }
  cq.SetProxy({});
}
