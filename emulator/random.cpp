#include "emulator/random.h"

#include <openssl/rand.h>

#include <stdexcept>

namespace emulator {

std::string Hex(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(2 * bytes.size());
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 15];
  }
  return hex;
}

std::string RandomHex(size_t digits) {
  std::string bytes((digits + 1) / 2, '\0');
  const int size = static_cast<int>(bytes.size());
  if (RAND_bytes(reinterpret_cast<unsigned char*>(bytes.data()), size) != 1) {
    throw std::runtime_error("no random bytes");
  }
  return Hex(bytes).substr(0, digits);
}

}  // namespace emulator
