#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "emulator/content.h"
#include "emulator/errors.h"
#include "emulator/request_log.h"
#include "emulator/url.h"

namespace emulator {

// A request whose body is still on its way.
struct Incoming {
  Request record;
  std::string path;  // of the target, still percent-encoded
  std::string query;
  int version = 0;   // the number in /b2api/v<number>/, 0 for other paths
  std::string rest;  // of the path, after the call's name or after "/file/"
  std::string base;  // what URLs in answers begin with; "": the service's own
  std::optional<uint64_t> content_length;
  bool ignore_range = false;  // serve downloads whole
};

struct Answer {
  // Bytes of the body.
  uint64_t Length() const { return content ? length : body.size(); }
  // The longest run of adjacent bytes that starts at `offset`, which may reach beyond Length().
  std::string_view At(uint64_t offset) const {
    return content ? content->At(first + offset) : std::string_view(body).substr(offset);
  }

  int status = 200;
  Pairs headers = {};
  std::string body = {};
  // When set, the body is `length` bytes of it from `first` on.
  ContentPtr content = {};
  uint64_t first = 0;
  uint64_t length = 0;
};

// Largest body of a JSON call, bytes.
inline constexpr size_t kMaxJsonBody = size_t{16} << 20;

// The connection ended, or is to end, before the request was answered.
struct Aborted {};

// The body of the request in hand.
class BodySource {
 public:
  virtual ~BodySource() = default;

  // Fills `data`; less than `size` only at the body's end. Throws Aborted.
  virtual size_t Read(char* data, size_t size) = 0;

  // The body, or its first `limit` bytes. Throws Aborted.
  std::string ReadAll(size_t limit);
};

// The answer {code, message, status} of a refusal.
Answer ErrorAnswer(int status, const std::string& code, const std::string& message);
Answer ErrorAnswer(const ServiceError& refusal);

// An answer with a JSON body.
Answer JsonAnswer(std::string body);

}  // namespace emulator
