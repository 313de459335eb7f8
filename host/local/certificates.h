#pragma once

#include <string>

namespace b2drive {

// Throws kLocalFile unless `file` holds certificates (PEM) that the plug-in will take. `named_by`
// tells where the file was named.
void RequireCertificates(const std::string& file, const std::string& named_by);

}  // namespace b2drive
