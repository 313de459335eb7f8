#pragma once

#include <string>

namespace util {

// Base64 in the standard alphabet with padding, without line breaks. Throws std::bad_alloc when
// libcrypto has no memory for it.
std::string Base64Encode(const std::string& bytes);

}  // namespace util
