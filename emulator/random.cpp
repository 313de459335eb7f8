#include "emulator/random.h"

#include <openssl/rand.h>

#include <stdexcept>

#include "base/encodings.h"

namespace emulator {

std::string RandomHex(size_t digits) {
  std::string bytes((digits + 1) / 2, '\0');
  const int size = static_cast<int>(bytes.size());
  if (RAND_bytes(reinterpret_cast<unsigned char*>(bytes.data()), size) != 1) {
    throw std::runtime_error("no random bytes");
  }
  return base::ToHex(bytes).substr(0, digits);
}

}  // namespace emulator
