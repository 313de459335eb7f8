#include <json/reader.h>
#include <json/value.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "bench/bare_pages.h"

void UsePage(const char* text, size_t length) {
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  Json::Value page;
  if (!reader->parse(text, text + length, &page, nullptr)) {
    std::fputs("bare_curl_json: a page does not parse\n", stderr);
    std::exit(1);
  }
}
