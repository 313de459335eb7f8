#include "host/local/part_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "host/common/errors.h"
#include "host/local/local_io.h"
#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"

namespace b2drive {
namespace fs = std::filesystem;
namespace {

// Bytes that a power cut may take. What is shorter is fetched again rather than secured.
constexpr std::uint64_t kSecureEvery = 64UL * 1024 * 1024;

mode_t ModeOfNewFiles() {
  mode_t mask = umask(077);
  umask(mask);
  return 0666 & ~mask;
}

// What the file in place of `target` is to have. Throws for what cannot be replaced.
mode_t ModeFor(const fs::path& target) {
  struct stat status {};
  if (stat(target.c_str(), &status) == 0) {
    if (S_ISREG(status.st_mode)) return status.st_mode & 0777;
    throw HostError(ExitCode::kWrongKind, target.string(), "exists and is no regular file");
  }
  if (errno != ENOENT) throw LocalFailure(target.string(), errno);
  return ModeOfNewFiles();
}

// A short name beside `target` that depends on `text` only.
fs::path HiddenName(const fs::path& target, std::string_view text, const char* ending) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  char name[64];
  std::snprintf(name, sizeof name, ".b2drive-%016llx%s", static_cast<unsigned long long>(hash),
                ending);
  return target.parent_path() / name;
}

std::string WholeText(const fs::path& target, const PartContents& contents) {
  return target.filename().string() + "\n" + contents.id + "\n" + std::to_string(contents.offset) +
         "\n" + std::to_string(contents.length);
}

// Whether `path` is what `fd` has open.
bool StandsAt(int fd, const fs::path& path) {
  struct stat open_one {};
  struct stat named {};
  return fstat(fd, &open_one) == 0 && lstat(path.c_str(), &named) == 0 &&
         open_one.st_dev == named.st_dev && open_one.st_ino == named.st_ino;
}

// Whether someone else could have put it there for us: as in /tmp.
bool IsPlanted(const struct stat& status, const fs::path& path) {
  struct stat folder {};
  const fs::path parent = path.parent_path();
  return status.st_uid != geteuid() && stat(parent.empty() ? "." : parent.c_str(), &folder) == 0 &&
         (folder.st_mode & S_ISVTX) != 0;
}

bool IsOurs(int fd, const fs::path& path) {
  struct stat status {};
  return fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
         !IsPlanted(status, path);
}

HostError NoPart(const fs::path& path) {
  return {ExitCode::kExists,
          path.string() + ": is no part file of b2drive; move it away or fetch to another name"};
}

HostError CannotOpen(const fs::path& target, const fs::path& part, int error) {
  if (error == ELOOP || error == EISDIR) return NoPart(part);
  struct stat status {};
  return LocalFailure(lstat(part.c_str(), &status) == 0 ? part : target, error);
}

// Opens and locks what stands at `path`; nothing and an errno when it cannot be opened.
UniqueFd OpenLocked(const fs::path& path, int flags) {
  constexpr int kTries = 10;
  for (int i = 0; i < kTries; ++i) {
    // What is no regular file is refused later and must not block here.
    const int how = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | flags;
    UniqueFd fd(open(path.c_str(), how, 0600));
    if (!fd) return fd;
    if (flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
      if (errno != EWOULDBLOCK) throw LocalFailure(path.string(), errno);
      throw HostError(ExitCode::kLocalFile, path.string(), "another b2drive is fetching it");
    }
    // Whoever had it before may have put it in place or removed it.
    if (StandsAt(fd.get(), path)) return fd;
  }
  throw HostError(ExitCode::kLocalFile, path.string(), "changes all the time");
}

}  // namespace

PartFile::PartFile(fs::path target, PartContents contents, PartName name)
    : target_(std::move(target)),
      whole_(HiddenName(target_, WholeText(target_, contents), ".whole")),
      length_(contents.length),
      record_(contents),
      at_exit_([this] {
        const std::string note = KeptNote();
        RemoveUseless();
        if (!note.empty()) PrintToTerminal(EscapeControls("b2drive: " + note));
      }) {
  ModeFor(target_);
  try {
    if (!TakeWhole()) TakePart(name);
  } catch (...) {
    RemoveUseless();
    throw;
  }
}

PartFile::~PartFile() { RemoveUseless(); }

// What a run left that ended while it put the file in place. Its bytes are on disk.
bool PartFile::TakeWhole() {
  UniqueFd fd = OpenLocked(whole_, 0);
  if (!fd) return false;
  Lock lock(mutex_);
  PartRecord record = record_;
  const auto found = PartRecord::Read(fd.get());
  const bool complete =
      SizeOf(fd.get()) == length_ || (found && record.Continue(*found) && record.IsComplete());
  if (!complete || IsShort() || !IsOurs(fd.get(), whole_)) {
    unlink(whole_.c_str());
    return false;
  }
  record_.Fill();
  fd_ = std::move(fd);
  path_ = whole_;
  return true;
}

void PartFile::TakePart(PartName name) {
  const std::string file_name = target_.filename();
  const fs::path hidden = HiddenName(target_, file_name, ".part");
  fs::path path = name == PartName::kBeside ? fs::path(target_.string() + ".part") : hidden;
  UniqueFd fd = OpenLocked(path, O_CREAT);
  if (!fd && errno == ENAMETOOLONG) {
    path = hidden;
    fd = OpenLocked(path, O_CREAT);
  }
  if (!fd) throw CannotOpen(target_, path, errno);
  const auto found = PartRecord::Read(fd.get());
  if (!IsOurs(fd.get(), path) || (!found && SizeOf(fd.get()) > 0)) throw NoPart(path);
  Lock lock(mutex_);
  fd_ = std::move(fd);
  path_ = path;
  const int error = found && record_.Continue(*found) ? Resume() : Begin();
  if (error != 0) throw Failed(error);
}

// What is not known to be on disk counts only if it gets there now.
int PartFile::Resume() {
  if (fdatasync(fd_.get()) == 0) {
    record_.Secure(record_);
  } else {
    record_.DropUnsecured();
  }
  return record_.Write(fd_.get());
}

int PartFile::Begin() {
  if (ftruncate(fd_.get(), 0) != 0) return errno;
  return record_.Write(fd_.get());
}

HostError PartFile::Failed(int error) const {
  return LocalFailure("writing " + target_.string(), error);
}

// What should have been on disk may be lost.
HostError PartFile::Spoiled(int error) {
  Lock lock(mutex_);
  unlink(path_.c_str());
  path_.clear();
  return Failed(error);
}

bool PartFile::IsShort() const { return length_ < kSecureEvery; }

bool PartFile::IsUseless() const { return record_.kept() == 0 || (path_ == whole_ && IsShort()); }

void PartFile::RemoveUseless() {
  Lock lock(mutex_);
  if (!path_.empty() && path_ != target_ && IsUseless()) unlink(path_.c_str());
}

std::vector<PartFile::Span> PartFile::Missing() const {
  Lock lock(mutex_);
  std::vector<Span> missing;
  for (std::size_t i = 0; i < record_.ranges(); ++i) {
    const Span span{record_.ReachedIn(i), record_.EndOf(i)};
    if (span.begin < span.end) missing.push_back(span);
  }
  return missing;
}

std::uint64_t PartFile::kept() const {
  Lock lock(mutex_);
  return record_.kept();
}

std::string PartFile::KeptNote() const {
  Lock lock(mutex_);
  if (path_.empty() || path_ == target_ || IsUseless()) return "";
  return FormatBytes(static_cast<double>(record_.kept())) + " of " +
         FormatBytes(static_cast<double>(length_)) + " are kept in " + path_.string() +
         "; the next get goes on with the rest";
}

int PartFile::Write(std::uint64_t offset, const char* data, std::size_t count) {
  return WriteAllAt(fd_.get(), {data, count}, offset);
}

int PartFile::Note(std::uint64_t begin, std::uint64_t end) {
  if (begin >= end) return 0;
  {
    Lock lock(mutex_);
    for (std::size_t i = record_.RangeOf(begin); i <= record_.RangeOf(end - 1); ++i) {
      const std::uint64_t fresh = record_.Advance(i, std::max(begin, record_.BeginOf(i)), end);
      unsecured_ += fresh;
      const int error = fresh > 0 ? record_.WriteRange(fd_.get(), i) : 0;
      if (error != 0) return error;
    }
    if (unsecured_ < kSecureEvery || securing_) return 0;
    securing_ = true;
  }
  return Secure();
}

int PartFile::Secure() {
  PartRecord before;
  {
    Lock lock(mutex_);
    before = record_;
    unsecured_ = 0;
  }
  const int failure = fdatasync(fd_.get()) == 0 ? 0 : errno;
  Lock lock(mutex_);
  securing_ = false;
  if (failure == 0) {
    record_.Secure(before);
  } else {
    record_.DropUnsecured();
  }
  const int error = record_.Write(fd_.get());
  return failure != 0 ? failure : error;
}

void PartFile::Commit() {
  const mode_t mode = ModeFor(target_);
  if (!Missing().empty()) {
    throw HostError(ExitCode::kFailed,
                    target_.string() + ": bytes are missing in " + path_.string());
  }
  if (path_ != whole_) {
    const int error = IsShort() ? 0 : Secure();
    if (error != 0) throw Failed(error);
    // Without its record nobody would know it again; under this name it is known.
    Move(whole_);
  }
  if (ftruncate(fd_.get(), static_cast<off_t>(length_)) != 0) throw Failed(errno);
  // Where modes cannot be set the file keeps what the file system gave it.
  (void)fchmod(fd_.get(), mode);
  // Here a full disk may show that took the bytes before.
  if (fsync(fd_.get()) != 0) throw Spoiled(errno);
  Move(target_);
}

void PartFile::Move(const fs::path& to) {
  Lock lock(mutex_);
  if (!StandsAt(fd_.get(), path_)) {
    throw HostError(ExitCode::kLocalFile, path_.string(), "someone else replaced it meanwhile");
  }
  if (rename(path_.c_str(), to.c_str()) != 0) throw LocalFailure(to.string(), errno);
  path_ = to;
}

void SecureNames(const fs::path& folder) {
  const UniqueFd fd(
      open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // Some folders cannot be opened, and some file systems know nothing of this.
  if (fd && fsync(fd.get()) != 0 && errno == EIO) throw LocalFailure(folder.string(), errno);
}

}  // namespace b2drive
