#pragma once

#include <string>

#include "host/cli/context.h"
#include "host/transfer/filter.h"
#include "host/transfer/tree_download.h"

namespace b2drive::cli {

// Fetches what the filter takes in a folder or bucket. `local` is where to, by the rules of cp;
// empty: here.
ExitCode GetTree(Context& context, const RemoteFile& folder, const std::string& local,
                 const TreeDownloadOptions& how, const Filter& filter);

}  // namespace b2drive::cli
