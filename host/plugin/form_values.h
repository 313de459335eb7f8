#pragma once

#include <optional>
#include <string>

#include "host/plugin/account.h"
#include "protocol/records.h"

namespace b2drive {

// The two forms as the plug-in takes them back: {"values": {NAME: {"value": ...}}}.

std::string AccountFormValues(const Account& account);

// Only what is given is named, so the rest stays as it is. `limit_kb` is in 1024 bytes a second, 0
// for no limit.
std::string OptionFormValues(const std::optional<_PROXYINFO>& proxy,
                             const std::optional<long long>& limit_kb);

}  // namespace b2drive
