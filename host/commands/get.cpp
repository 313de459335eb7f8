#include <algorithm>
#include <limits>

#include "host/cli/arguments.h"
#include "host/cli/filter_options.h"
#include "host/cli/progress.h"
#include "host/commands/commands.h"
#include "host/commands/get_tree.h"
#include "host/commands/print_file.h"
#include "host/transfer/download.h"
#include "host/transfer/versions.h"

namespace b2drive::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kFirstByte = 0;
constexpr std::int64_t kLastByte = std::numeric_limits<std::int64_t>::max();

struct GetOptions {
  std::string path;
  std::string local;
  DownloadOptions how;
  std::string version;
  bool recursive = false;
  std::size_t jobs = 16;
  Filter filter;
};

fs::path LocalTarget(const GetOptions& options, const std::string& name) {
  if (options.local.empty()) return name;
  fs::path local = options.local;
  std::error_code ignored;
  return fs::is_directory(local, ignored) ? local / name : local;
}

ExitCode Print(Context& context, PatientDrive& drive, const Entry& file, const std::string& path,
               const DownloadOptions& how) {
  context.changes().LeaveStandardOutput();
  const std::uint64_t rest = file.size - std::min(how.offset, file.size);
  const std::uint64_t length = std::min(how.length.value_or(rest), rest);
  const PrintRange range{how.offset, length, how.verify};
  if (!PrintFile(drive, file, path, range)) return ExitCode::kBrokenPipe;
  context.changes().Tell({"get", path, "-", length, file.id});
  return ExitCode::kSuccess;
}

ExitCode GetFolder(Context& context, const Entry& folder, const std::string& path,
                   const GetOptions& options) {
  if (options.local == "-") {
    throw HostError(ExitCode::kWrongKind, path, "is a folder, which cannot be printed");
  }
  const TreeDownloadOptions how{options.jobs, options.how.connections, options.how.verify};
  return GetTree(context, {folder, path}, options.local, how, options.filter);
}

// Puts a file, or one version of it, here.
ExitCode GetFile(Context& context, PatientDrive& drive, const Entry& file, const std::string& path,
                 const GetOptions& options) {
  if (options.local == "-") return Print(context, drive, file, path, options.how);
  context.changes().Expect();
  const fs::path target = LocalTarget(options, file.name);
  FileDownload download(drive, {file, path}, target, options.how);
  {
    ProgressBar bar(context.transfers(), file.name, static_cast<std::int64_t>(download.missing()));
    download.Run();
  }
  SecureNames(target.parent_path());
  context.changes().Tell({"get", path, target, download.length(), file.id});
  return ExitCode::kSuccess;
}

ExitCode GetVersion(Context& context, const std::string& path, const GetOptions& options) {
  const ViewedDrive view = context.Open(View::kVersions);
  const Listing versions = VersionsOf(*view.drive, context.index(), path);
  const Entry version = FindVersion(versions, options.version, path);
  if (!IsHideMarker(version)) return GetFile(context, *view.drive, version, path, options);
  throw HostError(ExitCode::kWrongKind, path, "that version hides the name and holds nothing");
}

ExitCode RunGet(Context& context, const GetOptions& options) {
  const PathArgument argument(options.path);
  context.WantDetails();
  if (!options.version.empty()) return GetVersion(context, argument.path, options);
  const Entry file = context.index().Find(argument);
  if (file.folder && options.recursive) return GetFolder(context, file, argument.path, options);
  if (file.folder) {
    throw HostError(ExitCode::kWrongKind, argument.path, "is a folder; use get -r");
  }
  return GetFile(context, context.drive(), file, argument.path, options);
}

void AddTreeOptions(CLI::App* get, GetOptions& options) {
  NotEmpty(get->add_option("--version", options.version,
                           "That version of a file; versions shows the IDs"))
      ->type_name("ID");
  get->add_flag("-r,--recursive", options.recursive,
                "Copy a folder or bucket with everything in it, by the rules of cp")
      ->excludes("--version")
      ->excludes("--offset")
      ->excludes("--length");
  get->add_option("-j,--jobs", options.jobs, "With -r: files at the same time")
      ->capture_default_str()
      ->check(CLI::Range(1, 64))
      ->type_name("N");
  AddFilterOptions(get, options.filter);
}

}  // namespace

void AddGetCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<GetOptions>();
  CLI::App* get = app.add_subcommand(
      "get", "Copy a file here; it appears under its name only when it is complete");
  get->footer(
      "Until it is complete it stands in NAME.part. When get is interrupted or fails, the next\n"
      "get goes on there with what is missing, unless the file has changed on the service.\n"
      "It gets the time that ls -l shows, and is compared with the SHA-1 that the service has of\n"
      "it, if any; what differs is thrown away (exit code 17).\n"
      "With -r a folder goes into the folder LOCAL, or becomes LOCAL when there is none. What "
      "this\n"
      "system cannot hold, or a link stands in the way of, is left out with a line each (exit\n"
      "code 16). --include and --exclude compare the names in PATH.");
  get->add_option("PATH", options->path)->required();
  get->add_option("LOCAL", options->local, "File or folder to write to; - is standard output");
  get->add_option("--offset", options->how.offset, "First byte to copy")
      ->check(CLI::Range(kFirstByte, kLastByte))
      ->type_name("BYTES");
  get->add_option("--length", options->how.length, "How much to copy, at most to the file's end")
      ->check(CLI::Range(kFirstByte, kLastByte))
      ->type_name("BYTES");
  get->add_option("--connections", options->how.connections,
                  "At the same time for a file of 32 MiB or more")
      ->capture_default_str()
      ->check(CLI::Range(1, 32))
      ->type_name("N");
  get->add_flag("!--no-verify", options->how.verify, "Do not compare the SHA-1 of what came");
  AddTreeOptions(get, *options);
  Choose(get, selected, options, RunGet);
}

}  // namespace b2drive::cli
