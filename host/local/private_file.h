#pragma once

#include <filesystem>
#include <string>

namespace b2drive {

// Puts `text` in the place of what `file` holds, for nobody else to read. A program that is killed,
// a full disk and a power cut leave the old contents or the new ones. Throws kLocalFile.
void ReplacePrivateFile(const std::filesystem::path& file, const std::string& text);

}  // namespace b2drive
