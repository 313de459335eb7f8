#pragma once

#include <string>

#include "conform/probe/store.h"

namespace probe {

Store& TheStore();

// A folder's name in the bucket, by its identifier.
std::string NameOf(const std::string& id);

}  // namespace probe
