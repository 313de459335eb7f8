#include <algorithm>
#include <atomic>

#include "host/cli/commands.h"
#include "host/cli/progress.h"
#include "host/cli/upload_plan.h"
#include "host/common/thread_safety.h"
#include "host/common/workers.h"

namespace b2drive::cli {
namespace {

namespace fs = std::filesystem;

struct PutOptions {
  bool recursive = false;
  std::size_t jobs = 4;
  std::vector<std::string> paths;  // the sources, then the target
};

// Stores planned files on several threads, and remembers how it went.
class UploadCrew {
 public:
  UploadCrew(Storage storage, const Transfers& transfers, std::vector<Upload>& uploads)
      : storage_(storage), transfers_(transfers), uploads_(uploads) {}

  void Run(std::size_t threads) {
    Workers workers(threads);
    for (Upload& upload : uploads_) {
      workers.Run([this, &upload] { TryStoring(upload); });
    }
  }

  // Throws a single file's failure, or kInterrupted.
  ExitCode Outcome() {
    Lock lock(mutex_);
    if (stored_ == uploads_.size()) return ExitCode::kSuccess;
    if (uploads_.size() == 1 && !failures_.empty()) throw HostError(failures_.front());
    if (transfers_.canceled()) {
      throw HostError(ExitCode::kInterrupted, Count() + "; these stay, the rest is not there");
    }
    Report("put", Count());
    return ExitCode::kPartly;
  }

 private:
  void TryStoring(Upload& upload) {
    if (transfers_.canceled()) return;
    try {
      Store(upload);
      ++stored_;
    } catch (const HostError& error) {
      Fail(error);
    } catch (const std::exception& error) {
      Fail({ExitCode::kFailed, upload.path + ": " + error.what()});
    }
  }

  void Store(Upload& upload) {
    LocalSource opened = upload.spooled ? std::move(*upload.spooled) : OpenSource(upload.local);
    storage_.PutFile(upload.parent_id, upload.path, opened);
  }

  void Fail(const HostError& error) {
    Lock lock(mutex_);
    failures_.push_back(error);
    if (uploads_.size() > 1) {
      Report("put", error.what());
    }
  }

  std::string Count() const {
    return std::to_string(stored_) + " of " + std::to_string(uploads_.size()) +
           " files were stored";
  }

  Storage storage_;
  const Transfers& transfers_;
  std::vector<Upload>& uploads_;
  std::atomic<std::size_t> stored_{0};
  Mutex mutex_;
  std::vector<HostError> failures_ B2_GUARDED_BY(mutex_);
};

void AddSource(UploadPlan& plan, const std::string& source, const Target& target, bool recursive) {
  if (source == "-") return plan.AddStandardInput(target);
  std::error_code error;
  if (!fs::is_directory(source, error)) return plan.AddFile(source, target);
  if (!recursive) throw HostError(ExitCode::kWrongKind, source + ": is a folder; use put -r");
  plan.AddFolder(source, target);
}

std::vector<Upload> Plan(Context& context, const PutOptions& options) {
  std::vector<std::string> sources(options.paths.begin(), options.paths.end() - 1);
  bool several = sources.size() > 1;
  if (several && std::ranges::count(sources, "-") > 0) {
    throw HostError(ExitCode::kUsage, "-: standard input cannot be put together with files");
  }
  UploadPlan plan(context.storage(), context.index());
  Target target = ChooseTarget(context.index(), PathArgument(options.paths.back()), several);
  for (const std::string& source : sources) AddSource(plan, source, target, options.recursive);
  return plan.Take();
}

ExitCode RunPut(Context& context, const PutOptions& options) {
  std::vector<Upload> uploads = Plan(context, options);
  std::int64_t total = 0;
  for (const Upload& upload : uploads) total += static_cast<std::int64_t>(upload.size);
  std::string name = uploads.size() == 1 ? NameOf(uploads.front().path)
                                         : std::to_string(uploads.size()) + " files";
  UploadCrew crew(context.storage(), context.transfers(), uploads);
  {
    ProgressBar bar(context.transfers(), name, total);
    crew.Run(options.jobs);
  }
  return crew.Outcome();
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
      "canceled there; b2drive says so.");
  put->add_flag("-r,--recursive", options->recursive, "Store folders with everything in them");
  put->add_option("-j,--jobs", options->jobs, "Files at the same time")
      ->capture_default_str()
      ->check(CLI::Range(1, 64))
      ->type_name("N");
  put->add_option("LOCAL... PATH", options->paths)->required()->expected(2, 1 << 20);
  Choose(put, selected, options, RunPut);
}

}  // namespace b2drive::cli
