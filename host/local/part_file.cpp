#include "host/local/part_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "host/common/errors.h"
#include "host/local/local_folders.h"
#include "host/local/local_io.h"
#include "host/local/part_place.h"
#include "host/terminal/report.h"
#include "host/terminal/text_format.h"

namespace b2drive {
namespace fs = std::filesystem;
namespace {

// Bytes that a power cut may take. What is shorter is fetched again rather than secured.
constexpr std::uint64_t kSecureEvery = 64UL * 1024 * 1024;
// Between two looks at whether anybody still wants it.
constexpr std::uint64_t kHashedAtOnce = 64UL * 1024 * 1024;
constexpr std::uint64_t kPiece = 256UL * 1024;

// What the file in place of `target` is to have. Throws for what cannot be replaced.
mode_t ModeFor(const LocalTarget& target) {
  struct stat status {};
  const int how = target.in_open_folder() ? AT_SYMLINK_NOFOLLOW : 0;
  if (fstatat(target.folder, target.path.c_str(), &status, how) == 0) {
    if (S_ISREG(status.st_mode)) return status.st_mode & 0777;
    throw HostError(ExitCode::kWrongKind, target.Shown(), "exists and is no regular file");
  }
  if (errno != ENOENT) throw LocalFailure(target.Shown(), errno);
  return ModeOfNewFiles();
}

std::string WholeText(const LocalTarget& target, const PartContents& contents) {
  return target.path.filename().string() + "\n" + contents.id + "\n" +
         std::to_string(contents.offset) + "\n" + std::to_string(contents.length);
}

}  // namespace

PartFile::PartFile(LocalTarget target, PartContents contents, PartName name)
    : target_(std::move(target)),
      whole_(HiddenName(target_, WholeText(target_, contents), ".whole")),
      length_(contents.length),
      record_(contents),
      at_(target_.At({})),
      at_exit_([this] {
        const std::string note = KeptNote();
        RemoveUseless();
        if (!note.empty()) b2drive::Note("get", note);
      }) {
  ModeFor(target_);
  if (IsPartName(target_.path.filename().native())) throw NoPart(target_);
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
    if (StandsAt(fd.get(), whole_)) Unlink(whole_);
    return false;
  }
  record_.Fill();
  fd_ = std::move(fd);
  at_ = whole_;
  return true;
}

// Whether a tree's download left bytes of this file there.
bool PartFile::IsContinued(const LocalTarget& hidden) const {
  const UniqueFd fd = OpenLocked(hidden, 0);
  if (!fd || !IsOurs(fd.get(), hidden)) return false;
  Lock lock(mutex_);
  PartRecord record = record_;
  const auto found = PartRecord::Read(fd.get());
  return found && record.Continue(*found);
}

void PartFile::TakePart(PartName name) {
  const std::string file_name = target_.path.filename();
  const LocalTarget hidden = HiddenName(target_, file_name, ".part");
  const bool beside = name == PartName::kBeside && !IsContinued(hidden);
  LocalTarget at = beside ? target_.Beside(file_name + ".part") : hidden;
  UniqueFd fd = OpenLocked(at, O_CREAT);
  if (!fd && errno == ENAMETOOLONG) {
    at = hidden;
    fd = OpenLocked(at, O_CREAT);
  }
  if (!fd) throw CannotOpen(target_, at, errno);
  const auto found = PartRecord::Read(fd.get());
  if (!IsOurs(fd.get(), at) || (!found && SizeOf(fd.get()) > 0)) throw NoPart(at);
  Lock lock(mutex_);
  fd_ = std::move(fd);
  at_ = at;
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
  return LocalFailure("writing " + target_.Shown(), error);
}

// What should have been on disk may be lost.
HostError PartFile::Spoiled(int error) {
  Lock lock(mutex_);
  if (StandsAt(fd_.get(), at_)) Unlink(at_);
  at_.path.clear();
  return Failed(error);
}

bool PartFile::IsShort() const { return length_ < kSecureEvery; }

bool PartFile::IsUseless() const {
  return record_.kept() == 0 || (at_.path == whole_.path && IsShort());
}

void PartFile::RemoveUseless() {
  Lock lock(mutex_);
  const bool is_draft = !at_.path.empty() && at_.path != target_.path;
  if (is_draft && IsUseless() && StandsAt(fd_.get(), at_)) Unlink(at_);
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
  if (at_.path.empty() || at_.path == target_.path || IsUseless()) return "";
  return FormatBytes(static_cast<double>(record_.kept())) + " of " +
         FormatBytes(static_cast<double>(length_)) + " are kept in " + at_.Shown() +
         "; the next time it goes on with the rest";
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

std::uint64_t PartFile::InSequence() const {
  Lock lock(mutex_);
  for (std::size_t i = 0; i < record_.ranges(); ++i) {
    if (record_.ReachedIn(i) < record_.EndOf(i)) return record_.ReachedIn(i);
  }
  return length_;
}

bool PartFile::HashOn() {
  const std::uint64_t end = std::min(InSequence(), hashed_ + kHashedAtOnce);
  std::vector<char> buffer(std::min(kPiece, end - hashed_));
  const std::uint64_t before = hashed_;
  while (hashed_ < end) {
    const std::size_t wanted = std::min<std::uint64_t>(buffer.size(), end - hashed_);
    const std::size_t got = ReadAt(fd_.get(), buffer.data(), wanted, hashed_);
    if (got == 0) break;
    hash_.Update(buffer.data(), got);
    hashed_ += got;
  }
  return hashed_ > before;
}

void PartFile::RequireHash(const std::string& sha1, const std::string& path) {
  while (HashOn()) {
  }
  if (hashed_ == length_ && hash_.HexDigest() == sha1) return;
  Lock lock(mutex_);
  if (StandsAt(fd_.get(), at_)) Unlink(at_);
  at_.path.clear();
  throw HostError(ExitCode::kDamaged, path,
                  "what came is not what was stored: the SHA-1 differs; nothing of it is kept");
}

void PartFile::Commit(const std::optional<timespec>& modified,
                      const std::function<void()>& may_replace) {
  const mode_t mode = ModeFor(target_);
  if (!Missing().empty()) {
    throw HostError(ExitCode::kFailed, target_.Shown() + ": bytes are missing in " + at_.Shown());
  }
  if (at_.path != whole_.path) {
    const int error = IsShort() ? 0 : Secure();
    if (error != 0) throw Failed(error);
    // Without its record nobody would know it again; under this name it is known.
    Move(whole_);
  }
  if (ftruncate(fd_.get(), static_cast<off_t>(length_)) != 0) throw Failed(errno);
  // Where modes cannot be set the file keeps what the file system gave it.
  (void)fchmod(fd_.get(), mode);
  const std::array times = {timespec{0, UTIME_OMIT}, modified.value_or(timespec{0, UTIME_OMIT})};
  (void)futimens(fd_.get(), times.data());
  // Here a full disk may show that took the bytes before.
  if (fsync(fd_.get()) != 0) throw Spoiled(errno);
  if (may_replace) may_replace();
  Move(target_);
}

void PartFile::Move(const LocalTarget& to) {
  Lock lock(mutex_);
  if (!StandsAt(fd_.get(), at_)) {
    throw HostError(ExitCode::kLocalFile, at_.Shown(), "someone else replaced it meanwhile");
  }
  if (renameat(at_.folder, at_.path.c_str(), to.folder, to.path.c_str()) != 0) {
    throw LocalFailure(to.Shown(), errno);
  }
  at_ = to;
}

void SecureNames(const fs::path& folder) {
  const UniqueFd fd(
      open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // Some folders cannot be opened, and some file systems know nothing of this.
  if (fd && fsync(fd.get()) != 0 && errno == EIO) throw LocalFailure(folder.string(), errno);
}

}  // namespace b2drive
