#include "host/mount/spool.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "host/mount/fs_error.h"
#include "host/mount/local_io.h"
#include "host/mount/notices.h"

namespace b2drive::mount {
namespace fs = std::filesystem;
namespace {

constexpr char kEntrySuffix[] = ".json";
constexpr char kSpareSuffix[] = ".spare";
constexpr std::size_t kMostSpares = 64;

fs::path EntryOf(const fs::path& contents) { return contents.string() + kEntrySuffix; }

UniqueFd Open(const fs::path& file, int flags) {
  UniqueFd fd(open(file.c_str(), flags | O_CLOEXEC, 0600));
  if (!fd) throw FsError(errno, file.string() + ": cannot be opened");
  return fd;
}

// Written into `spare`, which may hold an older text, and in place at once, so that an entry is
// never read half.
void WriteEntry(const fs::path& spare, const fs::path& entry, const std::string& text) {
  UniqueFd fd = Open(spare, O_WRONLY | O_CREAT);
  int error = WriteAt(fd.get(), text.data(), text.size(), 0);
  // Not emptied first: ext4 then begins to write to the disk at every close.
  if (error == 0 && ftruncate(fd.get(), static_cast<off_t>(text.size())) != 0) error = errno;
  if (error == 0 && rename(spare.c_str(), entry.c_str()) != 0) error = errno;
  if (error == 0) return;
  unlink(spare.c_str());
  throw FsError(error, entry.string() + ": cannot be written");
}

void Sync(const fs::path& file, int flags) {
  UniqueFd fd = Open(file, flags);
  if (fsync(fd.get()) != 0) throw FsError(errno, file.string() + ": cannot be synced");
}

}  // namespace

SpoolFile::~SpoolFile() {
  if (!journaled_) unlink(file_.c_str());
}

std::uint64_t SpoolFile::Size() const { return SizeOf(fd_.get()); }

Spool::Spool(fs::path folder) : folder_(std::move(folder)) {
  std::error_code error;
  fs::create_directories(folder_, error);
  if (error) throw FsError(error.value(), folder_.string() + ": " + error.message());
}

std::vector<Unsent> Spool::Recover() {
  std::map<std::uint64_t, fs::path> entries;  // in the order in which they were made
  std::vector<fs::path> files;
  for (const auto& item : fs::directory_iterator(folder_)) files.push_back(item.path());
  for (const fs::path& file : files) {
    if (file.extension() == kEntrySuffix) {
      entries[std::strtoull(file.stem().c_str(), nullptr, 10)] = file;
    } else if (!fs::exists(EntryOf(file))) {
      fs::remove(file);
    }
  }
  if (!entries.empty()) next_ = entries.rbegin()->first + 1;
  std::map<std::string, Unsent> unsent;
  for (const auto& [number, entry] : entries) {
    auto found = Load(entry);
    if (!found) continue;
    Unsent& latest = unsent[found->path];
    // The earlier mount ended while the later one took its place.
    if (latest.contents) Strike(*latest.contents);
    latest = std::move(*found);
  }
  std::vector<Unsent> all;
  all.reserve(unsent.size());
  for (auto& [path, one] : unsent) all.push_back(std::move(one));
  return all;
}

std::optional<Unsent> Spool::Load(const fs::path& entry) {
  fs::path contents = entry;
  contents.replace_extension();
  std::ifstream text(entry);
  auto values = nlohmann::json::parse(text, nullptr, false);
  const bool complete = values.is_object() && values.contains("path") &&
                        values["path"].is_string() && values.contains("size") &&
                        values["size"].is_number_unsigned() && values.contains("file") &&
                        values["file"] == contents.filename().string();
  if (!complete || !fs::exists(contents)) {
    Notice(entry.string() + ": cannot be read; it and its contents are left as they are");
    return std::nullopt;
  }
  auto file = std::make_shared<SpoolFile>(contents, Open(contents, O_RDWR));
  file->journaled_ = true;
  const auto path = values["path"].get<std::string>();
  if (file->Size() != values["size"].get<std::uint64_t>()) {
    Notice(path + ": what waited to be sent is damaged and stays in " + contents.string());
    return std::nullopt;
  }
  return Unsent{path, std::move(file)};
}

SpoolPtr Spool::Make() {
  fs::path file = NewName("");
  UniqueFd fd = Open(file, O_RDWR | O_CREAT | O_EXCL);
  return std::make_shared<SpoolFile>(std::move(file), std::move(fd));
}

SpoolPtr Spool::Clone(const SpoolFile& original) {
  SpoolPtr copy = Make();
  CopyBytes(original.fd(), copy->fd(), original.Size());
  return copy;
}

void Spool::Enter(SpoolFile& contents, const std::string& path) {
  // The file's own name tells its entry from the older text of a spare, which is what a machine
  // that lost its power may find in it.
  nlohmann::json entry{
      {"file", contents.file().filename().string()}, {"path", path}, {"size", contents.Size()}};
  // A name need not be UTF-8 text; the service takes no other, but this must not fail.
  WriteEntry(TakeSpare(), EntryOf(contents.file()),
             entry.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
  contents.journaled_ = true;
}

void Spool::Secure(const SpoolFile& contents) {
  if (fsync(contents.fd()) != 0) throw FsError(errno, contents.file().string() + ": not synced");
  Sync(EntryOf(contents.file()), O_RDONLY);
  Sync(folder_, O_RDONLY | O_DIRECTORY);
}

void Spool::Strike(SpoolFile& contents) {
  if (!contents.journaled_) return;
  // Not the contents' own name: they may be entered and struck again before the spare is used.
  const fs::path spare = NewName(kSpareSuffix);
  if (rename(EntryOf(contents.file()).c_str(), spare.c_str()) != 0 && errno != ENOENT) {
    throw FsError(errno, contents.file().string() + ": its journal entry cannot be removed");
  }
  contents.journaled_ = false;
  KeepSpare(spare);
}

fs::path Spool::NewName(const char* suffix) {
  std::lock_guard lock(mutex_);
  return folder_ / (std::to_string(next_++) + suffix);
}

fs::path Spool::TakeSpare() {
  {
    std::lock_guard lock(mutex_);
    if (!spares_.empty()) {
      fs::path spare = std::move(spares_.back());
      spares_.pop_back();
      return spare;
    }
  }
  return NewName(kSpareSuffix);
}

void Spool::KeepSpare(const fs::path& spare) {
  std::lock_guard lock(mutex_);
  if (spares_.size() < kMostSpares) {
    spares_.push_back(spare);
  } else {
    unlink(spare.c_str());
  }
}

}  // namespace b2drive::mount
