#include "host/commands/print_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "host/common/byte_count.h"
#include "host/local/sha1.h"
#include "host/local/stream_writer.h"

namespace b2drive::cli {
namespace {

// The hash of a file's bytes as they come; of one whose hash is not known nothing is computed.
class StreamHash {
 public:
  explicit StreamHash(const Entry& file) : wanted_(file.details ? file.details->sha1 : "") {}

  // The start may come twice.
  void Add(std::uint64_t at, const char* data, std::size_t count) {
    if (wanted_.empty()) return;
    if (at == 0) sha1_.Restart();
    sha1_.Update(data, count);
  }
  bool IsRight() { return wanted_.empty() || sha1_.HexDigest() == wanted_; }

 private:
  const std::string wanted_;
  Sha1 sha1_;
};

}  // namespace

bool PrintFile(PatientDrive& drive, const Entry& file, const std::string& path,
               const PrintRange& range) {
  const std::uint64_t offset = std::min(range.offset, file.size);
  const std::uint64_t length = std::min(range.length, file.size - offset);
  if (length == 0) return true;
  StreamWriter writer(STDOUT_FILENO);
  StreamHash hash(range.verify && length == file.size ? file : Entry{});
  try {
    drive.Read({file, path, offset, length},
               [&](std::uint64_t at, const char* data, std::size_t count) {
                 const int error = writer.Write(at - offset, data, count);
                 if (error == 0) hash.Add(at, data, count);
                 return error;
               });
  } catch (const FsError& error) {
    if (error.number() == EPIPE) return false;
    throw;
  }
  const int error = writer.Finish();
  if (error != 0 && error != EPIPE) throw LocalFailure("standard output", error);
  if (error == 0 && !hash.IsRight()) {
    throw HostError(ExitCode::kDamaged, path,
                    "what was printed is not what was stored: the SHA-1 differs");
  }
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
