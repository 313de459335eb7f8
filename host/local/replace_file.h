#pragma once

#include <filesystem>
#include <string_view>

namespace b2drive {

// Puts a file of these bytes, for nobody else to read, in the place of `file`. After a power cut
// the old one is there or the new one. Throws kLocalFile.
void ReplaceFile(const std::filesystem::path& file, std::string_view bytes);

}  // namespace b2drive
