#include "host/commands/print_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "host/common/byte_count.h"
#include "host/local/stream_writer.h"

namespace b2drive::cli {

bool PrintFile(Context& context, const Entry& file, const std::string& path, std::uint64_t offset,
               std::uint64_t length) {
  offset = std::min(offset, file.size);
  length = std::min(length, file.size - offset);
  if (length == 0) return true;
  StreamWriter writer(STDOUT_FILENO);
  try {
    context.drive().Read({file, path, offset, length},
                         [&](std::uint64_t at, const char* data, std::size_t count) {
                           return writer.Write(at - offset, data, count);
                         });
  } catch (const FsError& error) {
    if (error.number() == EPIPE) return false;
    throw;
  }
  const int error = writer.Finish();
  if (error != 0 && error != EPIPE) throw LocalFailure("standard output", error);
  return error == 0;
}

void AddEndOptions(CLI::App& app, const std::shared_ptr<EndOptions>& options, char sign,
                   const std::string& meaning) {
  const auto take = [options, sign](const std::string& text) {
    options->other_end = text.starts_with(sign);
    const auto count = ParseByteCount(options->other_end ? text.substr(1) : text);
    if (!count) throw CLI::ValidationError("--bytes", "no number of bytes: " + text);
    options->bytes = *count;
  };
  app.add_option_function<std::string>("-c,--bytes", take, meaning)->required()->type_name("N");
  app.add_option("PATH", options->path)->required();
  app.footer(
      "N may have a unit: K, M, G, T, P, E or KiB and so on are powers of 1024, KB and so on\n"
      "powers of 1000, b is 512 bytes. No more than these bytes are fetched.");
}

}  // namespace b2drive::cli
