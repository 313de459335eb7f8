#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace emulator {

// A refusal as the service words it; becomes the answer {code, message, status}.
class ServiceError : public std::runtime_error {
 public:
  ServiceError(int status, std::string code, const std::string& message)
      : std::runtime_error(message), status_(status), code_(std::move(code)) {}

  int status() const { return status_; }
  const std::string& code() const { return code_; }

 private:
  int status_;
  std::string code_;
};

inline ServiceError BadRequest(const std::string& message) {
  return ServiceError(400, "bad_request", message);
}

inline ServiceError NotFound(const std::string& message) {
  return ServiceError(404, "not_found", message);
}

}  // namespace emulator
