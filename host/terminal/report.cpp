#include "host/terminal/report.h"

#include <nlohmann/json.hpp>

#include "host/terminal/json.h"
#include "host/terminal/output_style.h"
#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"

namespace b2drive {
namespace {

void PrintText(const std::string& command, const std::string& text) {
  const char* separator = command.empty() ? "" : text.starts_with('/') ? " " : ": ";
  PrintToTerminal(EscapeControls("b2drive: " + command + separator + text));
}

void PrintRecord(const Json& record) { PrintToTerminal(JsonText(record, StderrIsTerminal())); }

}  // namespace

void Report(const std::string& command, const HostError& failure) {
  if (!TheOutputStyle().json) return PrintText(command, failure.what());
  Json record = {{"error", failure.what()}, {"code", static_cast<int>(failure.exit_code())}};
  if (!failure.path().empty()) record["path"] = failure.path();
  PrintRecord(record);
}

void Report(const std::string& command, const std::string& text) {
  Report(command, HostError(ExitCode::kFailed, text));
}

void Note(const std::string& command, const std::string& text) {
  if (TheOutputStyle().quiet) return;
  if (!TheOutputStyle().json) return PrintText(command, text);
  PrintRecord({{"note", text}});
}

}  // namespace b2drive
