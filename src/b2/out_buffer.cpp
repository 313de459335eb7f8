#include "b2/out_buffer.h"

#include <cstring>

AERROR CopyOut(const std::string& text, char* buffer, int* size) {
  const int length = static_cast<int>(text.size());
  const bool fits = *size >= length;
  *size = length;
  if (!fits) return AERROR::INSUFFICIENT_BUFFER;
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  return AERROR::SUCCESS;
}
