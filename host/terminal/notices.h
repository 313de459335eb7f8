#pragma once

#include <string>

namespace b2drive {

// Sends notices to the system's log from now on: a mount in the background has no terminal.
void SendNoticesToSystemLog();

// One line for whoever looks after the mount.
void Notice(const std::string& text);

}  // namespace b2drive
