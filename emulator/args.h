#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "emulator/message.h"
#include "emulator/names.h"
#include "emulator/url.h"

namespace emulator {

// What `text` holds. Throws 400 bad_json when that is not JSON, or JSON nested so deep that
// copying or writing it would take more stack than a thread has.
nlohmann::json ParseJson(const std::string& text);

// The fields of a JSON call. A field that is null counts as absent. Values of the wrong type throw
// 400 bad_request with the field's name.
class Args {
 public:
  // Throws 400 bad_json unless `body` is a JSON object; an empty body is an empty object.
  static Args FromBody(const std::string& body);
  // From query parameters, where numbers are texts and lists are separated by commas.
  static Args FromQuery(const Pairs& query);
  // From the body of a POST, and from the query of other requests.
  static Args Of(const Incoming& incoming);

  bool Has(const char* name) const { return Find(name) != nullptr; }

  std::string Text(const char* name) const;  // throws when absent
  std::string Text(const char* name, const std::string& fallback) const;
  std::optional<std::string> OptionalText(const char* name) const;
  int64_t Number(const char* name) const;  // throws when absent
  int64_t Number(const char* name, int64_t fallback) const;
  // Empty when absent.
  std::vector<std::string> Texts(const char* name) const;
  // Texts by key; empty when absent.
  FileInfo Info(const char* name) const;
  // The JSON text of an array; none when absent.
  std::optional<std::string> RawArray(const char* name) const;

 private:
  Args(nlohmann::json fields, bool from_query)
      : fields_(std::move(fields)), from_query_(from_query) {}

  const nlohmann::json* Find(const char* name) const;

  nlohmann::json fields_;
  bool from_query_;
};

}  // namespace emulator
