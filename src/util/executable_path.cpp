#include "util/executable_path.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>

#include "util/free_with.h"

#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

namespace util {

std::string ExecutablePath() {
#ifdef __APPLE__
  char path[1024];
  std::uint32_t size = sizeof path;
  return _NSGetExecutablePath(path, &size) == 0 ? path : "";
#else
  std::error_code failure;
  return std::filesystem::read_symlink("/proc/self/exe", failure).string();
#endif
}

std::string FrameworksDirectory(const std::string& executable) {
  if (executable.empty()) return {};
  const std::string folder = executable.substr(0, executable.rfind('/') + 1);
  const std::unique_ptr<char, FreeWith<std::free>> resolved(
      realpath((folder + "../Frameworks/").c_str(), nullptr));
  return resolved ? resolved.get() : "";
}

}  // namespace util
