#include "host/transfer/sync_state.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include <zlib.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "base/numbers.h"
#include "host/common/errors.h"
#include "host/common/stable_hash.h"
#include "host/local/local_io.h"
#include "host/local/private_file.h"

namespace b2drive {
namespace fs = std::filesystem;
namespace {

constexpr char kVersion[] = "b2drive sync state 1";
constexpr std::size_t kChecksumSize = 8;  // digits

void Add(std::string& text, std::string_view field) { text.append(field).push_back('\0'); }

std::string Checksum(std::string_view text) {
  const uLong sum = crc32_z(0, reinterpret_cast<const Bytef*>(text.data()), text.size());
  char digits[kChecksumSize + 1];
  std::snprintf(digits, sizeof digits, "%08lx", sum);
  return digits;
}

// Texts and numbers, taken off the front; after a wrong one there is no more.
class Fields {
 public:
  explicit Fields(std::string_view text) : left_(text) {}

  std::string_view Text() {
    const std::size_t end = left_.find('\0');
    if (end == std::string_view::npos) {
      failed_ = true;
      left_ = {};
      return {};
    }
    const std::string_view text = left_.substr(0, end);
    left_.remove_prefix(end + 1);
    return text;
  }
  template <typename Number>
  Number Value() {
    const auto value = base::ParseNumber<Number>(Text());
    failed_ = failed_ || !value;
    return value.value_or(0);
  }

  bool failed() const { return failed_; }
  bool AtEnd() const { return left_.empty(); }

 private:
  std::string_view left_;
  bool failed_ = false;
};

std::string KeyOf(const SyncPair& pair) {
  std::string key;
  Add(key, pair.account_id);
  Add(key, pair.local.native());
  Add(key, pair.path);
  return key;
}

}  // namespace

fs::path SyncState::DefaultFolder() {
  const char* const state = std::getenv("XDG_STATE_HOME");
  fs::path folder = state != nullptr ? state : "";
  if (!folder.is_absolute()) {
    const char* const home = std::getenv("HOME");
    if (home == nullptr || *home == '\0') {
      throw HostError(ExitCode::kLocalFile,
                      "nowhere to remember what was synced: set HOME or XDG_STATE_HOME");
    }
    folder = fs::path(home) / ".local/state";
  }
  return folder / "b2drive/sync";
}

SyncState::SyncState(const fs::path& folder, SyncPair pair)
    : pair_(std::move(pair)), file_(folder / StableHash(KeyOf(pair_))) {}

void SyncState::Reserve() {
  MakePrivateFolders(file_.parent_path());
  const std::string name = file_.string() + ".lock";
  lock_ = UniqueFd(open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!lock_) throw LocalFailure(name, errno);
  if (flock(lock_.get(), LOCK_EX | LOCK_NB) == 0) return;
  if (errno != EWOULDBLOCK) throw LocalFailure(name, errno);
  throw HostError(ExitCode::kFailed, pair_.local.string(),
                  "is being synced with " + pair_.path + " by another b2drive; let it end first");
}

std::string SyncState::Head() const {
  std::string head;
  Add(head, kVersion);
  return head + KeyOf(pair_);
}

SyncRecords SyncState::Load() {
  const std::string text = ReadSmallFile(file_);
  if (text.empty()) return {};
  problem_ = file_.string() + ": is damaged or not of these two folders; it is not used";
  const std::string head = Head();
  if (!text.starts_with(head) || text.size() < head.size() + kChecksumSize) return {};
  const std::string_view contents(text.data(), text.size() - kChecksumSize);
  if (Checksum(contents) != std::string_view(text).substr(contents.size())) return {};
  SyncRecords records;
  Fields fields(contents.substr(head.size()));
  while (!fields.AtEnd()) {
    std::string path(fields.Text());
    SyncedFile file;
    file.id = fields.Text();
    file.size = fields.Value<std::uint64_t>();
    file.modified.tv_sec = fields.Value<time_t>();
    file.modified.tv_nsec = fields.Value<long>();
    if (fields.failed()) return {};
    records.insert_or_assign(std::move(path), std::move(file));
  }
  problem_.clear();
  return records;
}

void SyncState::Save(const SyncRecords& records) const {
  std::string text = Head();
  for (const auto& [path, file] : records) {
    Add(text, path);
    Add(text, file.id);
    Add(text, std::to_string(file.size));
    Add(text, std::to_string(file.modified.tv_sec));
    Add(text, std::to_string(file.modified.tv_nsec));
  }
  text += Checksum(text);
  ReplacePrivateFile(file_, text);
}

}  // namespace b2drive
