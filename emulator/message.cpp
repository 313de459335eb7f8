#include "emulator/message.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace emulator {

std::string BodySource::ReadAll(size_t limit) {
  constexpr size_t kStep = size_t{16} * 1024;
  std::string all;
  while (all.size() < limit) {
    const size_t size = all.size();
    const size_t step = std::min(kStep, limit - size);
    all.resize(size + step);
    const size_t got = Read(all.data() + size, step);
    all.resize(size + got);
    if (got < step) break;
  }
  return all;
}

Answer ErrorAnswer(int status, const std::string& code, const std::string& message) {
  const nlohmann::json error{{"code", code}, {"message", message}, {"status", status}};
  Answer answer{.status = status};
  // Texts of the request may come back in the message, whatever their bytes are.
  answer.body = error.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
  answer.headers.emplace_back("Content-Type", "application/json;charset=utf-8");
  return answer;
}

Answer ErrorAnswer(const ServiceError& refusal) {
  return ErrorAnswer(refusal.status(), refusal.code(), refusal.what());
}

Answer JsonAnswer(std::string body) {
  Answer answer{.body = std::move(body)};
  answer.headers.emplace_back("Content-Type", "application/json;charset=UTF-8");
  answer.headers.emplace_back("Cache-Control", "max-age=0, no-cache, no-store");
  return answer;
}

}  // namespace emulator
