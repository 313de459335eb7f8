#pragma once

#include <string>

#include "host/plugin/account.h"
#include "protocol/records.h"

namespace b2drive {

// The two forms as the plug-in takes them back: {"values": {NAME: {"value": ...}}}.

std::string AccountFormValues(const Account& account);

// Only the proxy is named, so the rest stays as it is.
std::string OptionFormValues(const _PROXYINFO& proxy);

}  // namespace b2drive
