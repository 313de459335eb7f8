#include "bench/bare_pages.h"

void UsePage(const char* text, size_t length) {
  (void)text;
  (void)length;
}
