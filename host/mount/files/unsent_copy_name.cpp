#include "host/mount/files/unsent_copy_name.h"

#include <unistd.h>

#include <array>
#include <ctime>

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

// Not within a character of UTF-8.
std::string Cut(std::string name, std::size_t longest) {
  if (name.size() <= longest) return name;
  while (longest > 0 && (static_cast<unsigned char>(name[longest]) & 0xC0) == 0x80) --longest;
  return name.substr(0, longest);
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
