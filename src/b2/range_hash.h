#pragma once

#include <optional>
#include <string>

#include "engine/backoff.h"
#include "http/transfer_state.h"

// SHA-1 of the range of the host's cache that `state` names; none when it cannot be read or `stop`
// says so.
std::optional<std::string> HashRange(UploadState state, const Stop& stop);
