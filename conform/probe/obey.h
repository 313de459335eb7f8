#pragma once

#include <functional>

#include "conform/probe/object.h"
#include "conform/probe/orders.h"

namespace probe {

// Does a slot's work as ordered. The code that the slot gives.
AERROR Obey(const char* slot, const std::function<AERROR(const Orders& orders)>& work);

// Calls the host, from another thread if that is ordered ("thread").
AERROR CallHost(const Orders& orders, const std::function<AERROR()>& call);

}  // namespace probe
