#pragma once

#include <functional>
#include <string>

namespace b2drive::mount {

// A free name beside `path` for contents that could not be sent before someone else stored a newer
// version: "NAME (unsent COPY from HOST, DATE)", the date being now, in UTC, and NAME shortened
// where the service would not take the whole.
std::string UnsentCopyName(const std::string& path,
                           const std::function<bool(const std::string& path)>& taken);

}  // namespace b2drive::mount
