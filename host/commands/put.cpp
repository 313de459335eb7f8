#include <algorithm>
#include <span>

#include "host/cli/filter_options.h"
#include "host/cli/progress.h"
#include "host/commands/commands.h"
#include "host/transfer/crew.h"
#include "host/transfer/upload_plan.h"

namespace b2drive::cli {
namespace {

namespace fs = std::filesystem;

struct PutOptions {
  bool recursive = false;
  bool parents = false;
  std::size_t jobs = 16;
  Filter filter;
  std::vector<std::string> paths;  // the sources, then the target
};

void Store(Context& context, Upload& upload) {
  LocalSource opened = upload.spooled ? std::move(*upload.spooled) : OpenSource(upload.local);
  const Entry stored = context.storage().PutFile(upload.folder->id, upload.path(), opened);
  context.changes().Tell({"put", upload.path(), upload.local, opened.size, stored.id});
}

void AddSource(UploadPlan& plan, const std::string& source, bool recursive) {
  if (source == "-") return plan.AddStandardInput();
  std::error_code error;
  if (!fs::is_directory(source, error)) return plan.AddFile(source);
  if (!recursive) throw HostError(ExitCode::kWrongKind, source, "is a folder; use put -r");
  plan.AddFolder(source);
}

void MakePlan(UploadPlan& plan, const PutOptions& options) {
  const std::span sources(options.paths.begin(), options.paths.end() - 1);
  const bool several = sources.size() > 1;
  if (several && std::ranges::count(sources, "-") > 0) {
    throw HostError(ExitCode::kUsage, "-", "standard input cannot be put together with files");
  }
  plan.SetTarget(PathArgument(options.paths.back()), several, options.parents);
  for (const std::string& source : sources) AddSource(plan, source, options.recursive);
}

ExitCode RunPut(Context& context, const PutOptions& options) {
  context.changes().Expect();
  UploadPlan plan(context.index(), options.filter);
  MakePlan(plan, options);
  std::vector<Upload>& uploads = plan.uploads();
  std::int64_t total = 0;
  for (const Upload& upload : uploads) total += static_cast<std::int64_t>(upload.size);
  const std::string name =
      uploads.size() == 1 ? uploads.front().name : std::to_string(uploads.size()) + " files";
  ProgressBar bar(context.transfers(), name, total, uploads.size());
  Crew crew(context.transfers(), "put", "files were stored",
            uploads.size() + plan.refusals().size(), options.jobs);
  for (const HostError& refusal : plan.refusals()) crew.Fail(refusal);
  plan.MakeFolders(context.storage(), crew, context.changes());
  for (Upload& upload : uploads) {
    crew.Run([&] {
      const ProgressBar::File file(bar, upload.name);
      Store(context, upload);
    });
  }
  return crew.Finish();
}

}  // namespace

void AddPutCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<PutOptions>();
  CLI::App* put = app.add_subcommand("put", "Store local files and folders");
  put->footer(
      "Into the folder PATH, or a single source under the name PATH; - reads standard input.\n"
      "Where a file has the name already, the new one becomes its latest version.\n"
      "Files of 100 MB and more go up in parts. When such an upload is interrupted or fails, its\n"
      "parts stay on the service as an unfinished large file, which costs storage until it is\n"
      "canceled there; b2drive says so.\n"
      "--include and --exclude compare the names in each LOCAL.");
  put->add_flag("-r,--recursive", options->recursive, "Store folders with everything in them");
  put->add_flag("-p,--parents", options->parents, "Make the folders of PATH that are missing");
  put->add_option("-j,--jobs", options->jobs, "Files at the same time")
      ->capture_default_str()
      ->check(CLI::Range(1, 64))
      ->type_name("N");
  AddFilterOptions(put, options->filter);
  put->add_option("LOCAL... PATH", options->paths)->required()->expected(2, 1 << 20);
  Choose(put, selected, options, RunPut);
}

}  // namespace b2drive::cli
