#include <algorithm>
#include <limits>

#include "host/cli/progress.h"
#include "host/commands/commands.h"
#include "host/local/local_file.h"
#include "host/local/local_io.h"

namespace b2drive::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kFirstByte = 0;
constexpr std::int64_t kLastByte = std::numeric_limits<std::int64_t>::max();

struct GetOptions {
  std::string path;
  std::string local;
  std::uint64_t offset = 0;
  std::optional<std::uint64_t> length;
};

struct Range {
  std::uint64_t offset;
  std::uint64_t length;
};

Range Clip(const GetOptions& options, std::uint64_t size) {
  std::uint64_t offset = std::min(options.offset, size);
  return {offset, std::min(options.length.value_or(size), size - offset)};
}

fs::path LocalTarget(const GetOptions& options, const std::string& name) {
  if (options.local.empty()) return name;
  fs::path local = options.local;
  std::error_code ignored;
  return fs::is_directory(local, ignored) ? local / name : local;
}

ExitCode RunGet(Context& context, const GetOptions& options) {
  const PathArgument argument(options.path);
  const std::string& path = argument.path;
  Entry file = context.index().FindFile(argument);
  Range range = Clip(options, file.size);
  const fs::path target = LocalTarget(options, file.name);
  PendingFile pending(target);
  if (range.length > 0) {
    ProgressBar bar(context.transfers(), file.name, static_cast<std::int64_t>(range.length));
    context.drive().Read({file, path, range.offset, range.length},
                         [&](std::uint64_t offset, const char* data, std::size_t count) {
                           return WriteAllAt(pending.fd(), {data, count}, offset - range.offset);
                         });
  }
  pending.Commit();
  context.changes().Tell({"get", path, target, range.length, file.id});
  return ExitCode::kSuccess;
}

}  // namespace

void AddGetCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<GetOptions>();
  CLI::App* get = app.add_subcommand(
      "get", "Copy a file here; it appears under its name only when it is complete");
  get->add_option("PATH", options->path)->required();
  get->add_option("LOCAL", options->local, "File or folder to write to");
  get->add_option("--offset", options->offset, "First byte to copy")
      ->check(CLI::Range(kFirstByte, kLastByte))
      ->type_name("BYTES");
  get->add_option("--length", options->length, "How much to copy, at most to the file's end")
      ->check(CLI::Range(kFirstByte, kLastByte))
      ->type_name("BYTES");
  Choose(get, selected, options, RunGet);
}

}  // namespace b2drive::cli
