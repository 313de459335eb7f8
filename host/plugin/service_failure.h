#pragma once

#include <string>

#include "host/common/errors.h"
#include "host/plugin/answer.h"

namespace b2drive {

// The failure of a plug-in operation on `path`. `answer` is what the service last said on the
// calling thread: it explains more than the code.
HostError ServiceFailure(const std::string& path, AERROR code, const Answer& answer);
HostError NotFound(const std::string& path);

}  // namespace b2drive
