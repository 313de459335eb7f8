#include "host/terminal/notices.h"

#include <syslog.h>

#include <atomic>

#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"

namespace b2drive {
namespace {

std::atomic<bool> to_system_log{false};

}  // namespace

void SendNoticesToSystemLog() {
  openlog("b2drive", LOG_PID, LOG_USER);
  to_system_log = true;
}

void Notice(const std::string& text) {
  std::string line = EscapeControls(text);
  if (to_system_log) {
    syslog(LOG_NOTICE, "%s", line.c_str());
  } else {
    PrintToTerminal("b2drive: mount: " + line);
  }
}

}  // namespace b2drive
