#pragma once

#include <filesystem>
#include <string>

namespace b2drive {

// Makes the folders that are missing, for nobody else. Throws kLocalFile.
void MakePrivateFolders(const std::filesystem::path& folder);

// Puts `text` in the place of what `file` holds, for nobody else to read. A program that is killed,
// a full disk and a power cut leave the old contents or the new ones. Throws kLocalFile.
void ReplacePrivateFile(const std::filesystem::path& file, const std::string& text);

}  // namespace b2drive
