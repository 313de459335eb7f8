#pragma once

#include <filesystem>

namespace b2drive::mount {

// Takes the mountpoint away; `lazily`: also under programs that use it. False when it is in use.
bool Unmount(const std::filesystem::path& mountpoint, bool lazily);

}  // namespace b2drive::mount
