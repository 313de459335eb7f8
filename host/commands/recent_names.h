#pragma once

#include <functional>
#include <string>
#include <vector>

namespace b2drive::cli {

// The names in `folder` as completion offers them, folders with a slash at the end: those that were
// kept for the same account and folder a few seconds ago, else those that `list` gives, which are
// kept in a file that only the user reads. Names that a terminal would not show as they are do not
// count. Throws what `list` throws.
std::vector<std::string> RecentNames(const std::string& key_id, const std::string& folder,
                                     const std::function<std::vector<std::string>()>& list);

}  // namespace b2drive::cli
