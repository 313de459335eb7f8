#pragma once

#include "host/cli/progress.h"
#include "host/transfer/tree_watch.h"

namespace b2drive::cli {

// Has a bar that lives longer tell how far a tree is: by files and the bytes that are to come, or
// by files alone where no bytes come through this machine.
TreeWatch MeasuredBy(ProgressBar& bar);
TreeWatch CountedBy(ProgressBar& bar);

}  // namespace b2drive::cli
