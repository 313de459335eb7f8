#include "host/local/installation.h"

#include <fstream>
#include <vector>

#include "host/common/errors.h"

#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

namespace b2drive {
namespace fs = std::filesystem;
namespace {

#ifdef __APPLE__
constexpr char kPluginName[] = "libbackblazeb2.3.dylib";

fs::path ExecutablePath() {
  std::uint32_t size = 0;
  _NSGetExecutablePath(nullptr, &size);
  std::vector<char> path(size + 1);
  _NSGetExecutablePath(path.data(), &size);
  return fs::canonical(path.data());
}
#else
constexpr char kPluginName[] = "libbackblazeb2.so.3";

fs::path ExecutablePath() { return fs::read_symlink("/proc/self/exe"); }
#endif

}  // namespace

fs::path ProgramFolder() { return ExecutablePath().parent_path(); }

void RequireCaBundle(const fs::path& program_folder) {
  fs::path bundle = program_folder.parent_path() / "Frameworks" / "cacert.pem";
  if (std::ifstream(bundle).peek() != std::ifstream::traits_type::eof()) return;
  throw HostError(
      ExitCode::kNoCaBundle,
      "the CA bundle " + bundle.string() +
          " cannot be read or is empty; without these CA certificates the service's "
          "identity cannot be checked. Install b2drive again or put a PEM bundle there");
}

fs::path ShippedPlugin(const fs::path& program_folder) {
  fs::path prefix = program_folder.parent_path();
  fs::path installed = (prefix / B2_MODULE_FOLDER / kPluginName).lexically_normal();
  return fs::exists(installed) ? installed : prefix / "lib" / kPluginName;
}

}  // namespace b2drive
