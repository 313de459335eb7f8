#include "host/mount/files/unsent_copy_name.h"

#include <unistd.h>

#include <array>
#include <ctime>

#include "base/utf8.h"
#include "host/common/path.h"

namespace b2drive::mount {
namespace {

constexpr std::size_t kLongestName = 250;  // bytes

std::string HostName() {
  std::array<char, 256> name{};
  if (gethostname(name.data(), name.size() - 1) != 0) return "localhost";
  std::string plain;
  for (char byte : std::string(name.data()).substr(0, 64)) {
    const bool fits = isalnum(static_cast<unsigned char>(byte)) != 0 || byte == '-' || byte == '.';
    if (fits) plain += byte;
  }
  return plain;
}

std::string Date() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H.%M.%S", &parts);
  return text.data();
}

// The whole characters at the front of `name` that take at most `longest` bytes.
std::string Cut(std::string_view name, std::size_t longest) {
  std::string cut;
  while (!name.empty()) {
    const std::string_view next = base::TakeCharacter(name).bytes;
    if (cut.size() + next.size() > longest) break;
    cut += next;
  }
  return cut;
}

}  // namespace

std::string UnsentCopyName(const std::string& path,
                           const std::function<bool(const std::string& path)>& taken) {
  const std::string name(NameOf(path));
  const std::string origin = " (unsent COPY from " + HostName() + ", " + Date();
  for (int number = 1;; ++number) {
    const std::string suffix = origin + (number == 1 ? "" : ", " + std::to_string(number)) + ")";
    std::string copy = Join(ParentOf(path), Cut(name, kLongestName - suffix.size()) + suffix);
    if (!taken(copy)) return copy;
  }
}

}  // namespace b2drive::mount
