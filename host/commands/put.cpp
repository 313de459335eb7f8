#include <algorithm>
#include <memory>
#include <span>

#include "host/cli/arguments.h"
#include "host/cli/filter_options.h"
#include "host/cli/progress.h"
#include "host/commands/commands.h"
#include "host/transfer/crew.h"
#include "host/transfer/digest_ahead.h"
#include "host/transfer/upload_plan.h"

namespace b2drive::cli {
namespace {

namespace fs = std::filesystem;

struct PutOptions {
  bool recursive = false;
  bool parents = false;
  std::size_t jobs = 16;
  int connections = SessionOptions().upload_connections;
  std::string type;
  std::vector<std::string> info;  // KEY=VALUE
  Filter filter;
  std::vector<std::string> paths;  // the sources, then the target
};

constexpr std::size_t kMostInfo = 7;
// Where clients keep the SHA-1 of a file that went up in parts.
constexpr char kWholeSha1[] = "large_file_sha1";

// What the service would refuse of KEY=VALUE; empty for nothing. Capital letters become small ones.
std::string FaultOf(const std::string& pair) {
  constexpr std::size_t kLongestKey = 50;
  constexpr std::string_view kMeant[] = {
      "b2-content-disposition", "b2-content-language", "b2-expires",
      "b2-cache-control",       "b2-content-encoding", "b2-content-type"};
  const std::size_t equals = pair.find('=');
  if (equals == 0 || equals == std::string::npos) return "give KEY=VALUE";
  std::string key = pair.substr(0, equals);
  std::ranges::transform(key, key.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
  if (key.size() > kLongestKey) return "the key has more than 50 characters";
  const std::size_t odd =
      key.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-_.`~!#$%^&*'|+");
  if (odd != std::string::npos) {
    return "a key has letters of ASCII, digits and -_.`~!#$%^&*'|+ only";
  }
  if (key == kWholeSha1) return "b2drive makes that one itself";
  if (!key.starts_with("b2-") || std::ranges::count(kMeant, key) > 0) return "";
  return "keys that begin with b2- mean something to the service, which does not know " + key;
}

void RequireStorable(const std::string& pair) {
  const std::string fault = FaultOf(pair);
  if (!fault.empty()) throw HostError(ExitCode::kUsage, "--info " + pair + ": " + fault);
}

// As the plug-in takes what is stored with a file.
std::vector<std::string> TextsOf(const PutOptions& options) {
  std::vector<std::string> texts;
  if (!options.type.empty()) texts.push_back("type=" + options.type);
  for (const std::string& pair : options.info) {
    RequireStorable(pair);
    texts.push_back("info." + pair);
  }
  if (options.info.size() <= kMostInfo) return texts;
  throw HostError(ExitCode::kUsage, "--info: at most " + std::to_string(kMostInfo) +
                                        " entries; the service stores ten, of which b2drive needs "
                                        "three for time, size and SHA-1");
}

// What is known of a single file before anything connects.
std::unique_ptr<DigestAhead> BeginDigest(const Context& context, const PutOptions& options) {
  const bool known = context.uses_shipped_plugin() && options.paths.size() == 2;
  return known ? std::make_unique<DigestAhead>(options.paths.front()) : nullptr;
}

void Store(Context& context, Upload& upload, std::vector<std::string> texts, DigestAhead* digest) {
  LocalSource opened = upload.spooled ? std::move(*upload.spooled) : OpenSource(upload.local);
  if (const auto sha1 = digest == nullptr ? std::nullopt : digest->Of(opened)) {
    texts.push_back(std::string("info.") + kWholeSha1 + "=" + *sha1);
  }
  const Entry stored = context.storage().PutFile(upload.folder->id, upload.path(), opened, texts);
  context.changes().Tell({"put", upload.path(), upload.local, opened.size, stored.id});
  if (!opened.IsChanged()) return;
  throw HostError(ExitCode::kLocalFile, upload.local,
                  "changed while it was sent; what is stored is a mixture: put it again");
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
  const std::vector<std::string> texts = TextsOf(options);
  context.SetUploadConnections(options.connections);
  context.WantDetails();
  const std::unique_ptr<DigestAhead> digest = BeginDigest(context, options);
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
      Store(context, upload, texts, digest.get());
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
      "Files of more than 16 MiB go up in parts of 16 to 64 MiB, several at once. When such an "
      "upload\n"
      "is interrupted or fails, the parts that arrived stay on the service, where they cost\n"
      "storage, and the next put of the same file under the same name goes on with them.\n"
      "--include and --exclude compare the names in each LOCAL.");
  put->add_flag("-r,--recursive", options->recursive, "Store folders with everything in them");
  put->add_flag("-p,--parents", options->parents, "Make the folders of PATH that are missing");
  put->add_option("-j,--jobs", options->jobs, "Files at the same time")
      ->capture_default_str()
      ->check(CLI::Range(1, 64))
      ->type_name("N");
  put->add_option("--connections", options->connections,
                  "At the same time for a file of several parts")
      ->capture_default_str()
      ->check(CLI::Range(1, 32))
      ->type_name("N");
  NotEmpty(put->add_option("--type", options->type,
                           "Content type to store; else by the name's extension"))
      ->type_name("TYPE");
  put->add_option("--info", options->info, "Information to store with each file; repeatable")
      ->allow_extra_args(false)
      ->type_name("KEY=VALUE");
  AddFilterOptions(put, options->filter);
  put->add_option("LOCAL... PATH", options->paths)->required()->expected(2, 1 << 20);
  Choose(put, selected, options, RunPut);
}

}  // namespace b2drive::cli
