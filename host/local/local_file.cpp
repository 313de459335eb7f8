#include "host/local/local_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

#include "host/common/errors.h"
#include "host/local/local_io.h"

namespace b2drive {
namespace fs = std::filesystem;
namespace {

UniqueFd UnnamedFile() {
  std::string name = (fs::temp_directory_path() / "b2drive-XXXXXX").string();
  UniqueFd file(mkstemp(name.data()));
  if (!file) throw LocalFailure(name, errno);
  unlink(name.c_str());
  return file;
}

}  // namespace

LocalSource OpenSource(const fs::path& file) {
  // A named pipe without a writer must not block here: it is refused below.
  LocalSource source{UniqueFd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))};
  struct stat status {};
  if (!source.fd || fstat(source.fd.get(), &status) != 0) throw LocalFailure(file.string(), errno);
  if (!S_ISREG(status.st_mode)) {
    throw HostError(ExitCode::kWrongKind, file.string(), "not a regular file");
  }
  source.size = static_cast<std::uint64_t>(status.st_size);
  return source;
}

LocalSource SpoolStandardInput() {
  LocalSource source{UnnamedFile()};
  std::vector<char> buffer(256UL * 1024);
  for (;;) {
    ssize_t got = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (got == 0) return source;
    if (got < 0 && errno != EINTR) throw LocalFailure("standard input", errno).About("-");
    if (got < 0) continue;
    const int error = WriteAll(source.fd.get(), {buffer.data(), static_cast<std::size_t>(got)});
    if (error != 0) throw LocalFailure("temporary file", error).About("-");
    source.size += static_cast<std::uint64_t>(got);
  }
}

}  // namespace b2drive
