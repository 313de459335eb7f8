#include "host/terminal/report.h"

#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"

namespace b2drive {

void Report(const std::string& command, const std::string& text) {
  const char* separator = text.starts_with('/') ? " " : ": ";
  PrintToTerminal(EscapeControls("b2drive: " + command + separator + text));
}

}  // namespace b2drive
