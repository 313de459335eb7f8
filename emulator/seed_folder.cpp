#include "emulator/seed_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "emulator/errors.h"
#include "emulator/memory.h"
#include "emulator/names.h"
#include "emulator/seeding.h"
#include "emulator/sha1.h"

namespace emulator {
namespace {

namespace fs = std::filesystem;

struct Found {
  fs::path path;
  std::string bucket;
  std::string name;
  uint64_t size;
};

// A name from a disk may hold anything.
[[noreturn]] void Fail(const fs::path& path, const std::string& cause) {
  using nlohmann::json;
  throw std::runtime_error(
      json(path.string()).dump(-1, ' ', false, json::error_handler_t::replace) + ": " + cause);
}

class File {
 public:
  explicit File(const fs::path& path)
      : path_(path), descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (descriptor_ < 0 || fstat(descriptor_, &facts_) != 0) Fail(path, LastError());
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() { close(descriptor_); }

  uint64_t size() const { return static_cast<uint64_t>(facts_.st_size); }
  int64_t changed_ms() const {
    return int64_t{facts_.st_mtim.tv_sec} * 1000 + facts_.st_mtim.tv_nsec / 1'000'000;
  }

  // Less than `size` only at the end.
  size_t Read(char* data, size_t size) {
    size_t got = 0;
    while (got < size) {
      const ssize_t now = read(descriptor_, data + got, size - got);
      if (now < 0 && errno == EINTR) continue;
      if (now < 0) Fail(path_, LastError());
      if (now == 0) break;
      got += static_cast<size_t>(now);
    }
    return got;
  }

 private:
  static std::string LastError() { return std::generic_category().message(errno); }

  const fs::path path_;
  const int descriptor_;
  struct stat facts_ {};
};

Found FoundAt(const fs::path& path, const SeedFolder& seed) {
  const std::string below = path.lexically_relative(seed.path).generic_string();
  Found found{path, seed.bucket, below, fs::file_size(path)};
  if (!seed.bucket.empty()) return found;
  const size_t slash = below.find('/');
  if (slash == std::string::npos)
    Fail(path, "is in no folder that names its bucket: BUCKET=DIR names one");
  found.bucket = below.substr(0, slash);
  found.name = below.substr(slash + 1);
  return found;
}

// Sorted, so that the same folder gives the same order of versions. None when `go_on` says no.
std::optional<std::vector<Found>> FilesOf(const SeedFolder& seed,
                                          const std::function<bool()>& go_on) {
  std::vector<Found> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(seed.path)) {
    if (!go_on()) return std::nullopt;
    if (entry.is_regular_file()) files.push_back(FoundAt(entry.path(), seed));
  }
  std::ranges::sort(files, {}, &Found::path);
  return files;
}

// Null when `go_on` says no.
ContentPtr ContentOf(File& file, Store& store, const std::function<bool()>& go_on) {
  const std::unique_ptr<ContentSink> sink = store.NewContent(file.size());
  Sha1 digest;
  for (uint64_t left = file.size(); left > 0;) {
    if (!go_on()) return nullptr;
    const size_t step = std::min<uint64_t>(left, Content::kBlockSize);
    auto block = std::make_shared_for_overwrite<char[]>(step);
    const size_t got = file.Read(block.get(), step);
    digest.Update({block.get(), got});
    sink->Append(std::move(block), got);
    left = got < step ? 0 : left - got;
  }
  const std::shared_ptr<Content> content = sink->Finish();
  content->sha1 = digest.HexDigest();
  return content;
}

// Empty folders make buckets too.
void MakeBuckets(Store& store, const SeedFolder& seed) {
  if (!seed.bucket.empty()) {
    EnsureBucket(store, seed.bucket);
    return;
  }
  for (const fs::directory_entry& entry : fs::directory_iterator(seed.path)) {
    if (!entry.is_directory() || entry.is_symlink()) continue;
    try {
      EnsureBucket(store, entry.path().filename().string());
    } catch (const ServiceError& refusal) {
      Fail(entry.path(), refusal.what());
    }
  }
}

bool PlantFile(Store& store, const Found& found, const std::function<bool()>& go_on) {
  try {
    CheckFileName(found.name);
    const std::string bucket_id = EnsureBucket(store, found.bucket).id;
    File file(found.path);
    const ContentPtr content = ContentOf(file, store, go_on);
    if (!content) return false;
    const std::string changed = std::to_string(file.changed_ms());
    store.AddFile(bucket_id, {.name = found.name, .info = {{"src_last_modified_millis", changed}}},
                  content);
    return true;
  } catch (const ServiceError& refusal) {
    Fail(found.path, refusal.what());
  }
}

}  // namespace

SeedFolder ParseSeedFolder(std::string_view text) {
  const size_t equals = std::min(text.find('='), text.size());
  const std::string bucket(text.substr(0, equals));
  try {
    if (equals == text.size()) return {{}, text};
    CheckBucketName(bucket);
    return {bucket, text.substr(equals + 1)};
  } catch (const ServiceError&) {
    return {{}, text};
  }
}

bool Plant(Store& store, const SeedFolder& seed, const std::function<bool()>& go_on) {
  std::optional<std::vector<Found>> files;
  try {
    files = FilesOf(seed, go_on);
    MakeBuckets(store, seed);
  } catch (const fs::filesystem_error& error) {
    Fail(error.path1(), error.code().message());
  }
  if (!files) return false;
  Need need;
  for (const Found& file : *files) {
    need.AddFiles(1, file.name.size());
    need.contents += static_cast<double>(file.size);
  }
  CheckMemory(need, store.KeepsContents(), "seed folder '" + seed.path.string() + "'");
  return std::ranges::all_of(*files,
                             [&](const Found& file) { return PlantFile(store, file, go_on); });
}

}  // namespace emulator
