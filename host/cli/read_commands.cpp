#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "host/cli/commands.h"
#include "host/cli/progress.h"
#include "host/local/local_file.h"
#include "host/local/local_io.h"
#include "host/local/stream_writer.h"

namespace b2drive::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kFirstByte = 0;
constexpr std::int64_t kLastByte = std::numeric_limits<std::int64_t>::max();

struct CatOptions {
  std::string path;
};

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
  PendingFile pending(LocalTarget(options, file.name));
  if (range.length > 0) {
    ProgressBar bar(context.transfers(), file.name, static_cast<std::int64_t>(range.length));
    context.drive().Read({file, path, range.offset, range.length},
                         [&](std::uint64_t offset, const char* data, std::size_t count) {
                           return WriteAllAt(pending.fd(), {data, count}, offset - range.offset);
                         });
  }
  pending.Commit();
  return ExitCode::kSuccess;
}

ExitCode RunCat(Context& context, const CatOptions& options) {
  const PathArgument argument(options.path);
  const std::string& path = argument.path;
  Entry file = context.index().FindFile(argument);
  if (file.size == 0) return ExitCode::kSuccess;
  StreamWriter writer(STDOUT_FILENO);
  try {
    context.drive().Read({file, path, 0, file.size},
                         [&](std::uint64_t offset, const char* data, std::size_t count) {
                           return writer.Write(offset, data, count);
                         });
  } catch (const FsError& error) {
    if (error.number() == EPIPE) return ExitCode::kBrokenPipe;
    throw;
  }
  const int error = writer.Finish();
  if (error == EPIPE) return ExitCode::kBrokenPipe;
  if (error != 0) throw LocalFailure("writing " + path, error);
  return ExitCode::kSuccess;
}

}  // namespace

void AddReadCommands(CLI::App& app, Selected& selected) {
  auto cat_options = std::make_shared<CatOptions>();
  CLI::App* cat = app.add_subcommand("cat", "Write a file to standard output");
  cat->add_option("PATH", cat_options->path)->required();
  Choose(cat, selected, cat_options, RunCat);

  auto get_options = std::make_shared<GetOptions>();
  CLI::App* get = app.add_subcommand(
      "get", "Copy a file here; it appears under its name only when it is complete");
  get->add_option("PATH", get_options->path)->required();
  get->add_option("LOCAL", get_options->local, "File or folder to write to");
  get->add_option("--offset", get_options->offset, "First byte to copy")
      ->check(CLI::Range(kFirstByte, kLastByte))
      ->type_name("BYTES");
  get->add_option("--length", get_options->length, "How much to copy, at most to the file's end")
      ->check(CLI::Range(kFirstByte, kLastByte))
      ->type_name("BYTES");
  Choose(get, selected, get_options, RunGet);
}

}  // namespace b2drive::cli
