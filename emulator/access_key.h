#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace emulator {

// An application key and what it may do. Without a bucket and a prefix it reaches the whole
// account.
struct Key {
  std::string id = {};
  std::string secret = {};
  std::string name = {};
  std::set<std::string> capabilities = {};
  std::optional<std::string> bucket_id = {};
  std::optional<std::string> name_prefix = {};
  std::optional<int64_t> expires = {};  // ms since 1970
};
using KeyPtr = std::shared_ptr<const Key>;

}  // namespace emulator
