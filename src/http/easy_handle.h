#pragma once

#include <curl/curl.h>

#include <memory>
#include <new>
#include <string>

// Owns a libcurl easy handle and sets its options. False when libcurl gave none. Copies share it.
class EasyHandle {
 public:
  EasyHandle() : easy_(curl_easy_init(), curl_easy_cleanup) {}

  CURL* get() const { return easy_.get(); }
  explicit operator bool() const { return easy_ != nullptr; }

  // Throws std::bad_alloc for want of memory. Other refusals concern features that this libcurl
  // lacks, and values for which it keeps its default.
  template <class T>
  void Set(CURLoption option, T value) const {
    if ((curl_easy_setopt)(easy_.get(), option, value) == CURLE_OUT_OF_MEMORY) {
      throw std::bad_alloc();
    }
  }

 private:
  std::shared_ptr<CURL> easy_;
};

// What libcurl knows of a handle's latest transfer; zero or empty where it knows nothing.

inline long LongInfo(CURL* easy, CURLINFO which) {
  long value = 0;
  curl_easy_getinfo(easy, which, &value);
  return value;
}

inline curl_off_t OffsetInfo(CURL* easy, CURLINFO which) {
  curl_off_t value = 0;
  curl_easy_getinfo(easy, which, &value);
  return value;
}

inline std::string TextInfo(CURL* easy, CURLINFO which) {
  const char* text = nullptr;
  curl_easy_getinfo(easy, which, &text);
  return text == nullptr ? "" : text;
}
