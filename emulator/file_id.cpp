#include "emulator/file_id.h"

#include <array>
#include <cstdio>
#include <ctime>

#include "base/numbers.h"

namespace emulator {
namespace {

// 4_z<24 hex>_f<digit><15 hex>_d<date>_m<time>_c000_v0001000_t<4 digits>
constexpr size_t kIdSize = 83;
constexpr size_t kNumberBegin = 30;
constexpr size_t kNumberSize = 15;

}  // namespace

std::string MakeFileId(std::string_view bucket_id, IdKind kind, uint64_t sequence,
                       int64_t timestamp) {
  const time_t seconds = timestamp / 1000;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  std::array<char, 32> when{};
  std::strftime(when.data(), when.size(), "_d%Y%m%d_m%H%M%S", &utc);
  std::array<char, 160> id{};
  std::snprintf(id.data(), id.size(), "4_z%.24s_f%c%015llx%s_c000_v0001000_t%04d",
                std::string(bucket_id).c_str(), static_cast<char>(kind),
                static_cast<unsigned long long>(sequence), when.data(),
                static_cast<int>(sequence % 10'000));
  return id.data();
}

std::optional<uint64_t> SequenceOf(std::string_view file_id) {
  if (file_id.size() != kIdSize || !file_id.starts_with("4_z") || file_id.substr(27, 2) != "_f" ||
      file_id.substr(45, 2) != "_d") {
    return std::nullopt;
  }
  return base::ParseNumber<uint64_t>(file_id.substr(kNumberBegin, kNumberSize), 16);
}

std::string BucketIdOf(std::string_view file_id) {
  return SequenceOf(file_id) ? std::string(file_id.substr(3, 24)) : "";
}

}  // namespace emulator
