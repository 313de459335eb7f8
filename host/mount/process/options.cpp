#include "host/mount/process/options.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iomanip>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "base/numbers.h"
#include "host/common/errors.h"

namespace b2drive::mount {
namespace {

// Readers of values say by std::invalid_argument what is wrong with one.

std::uint64_t ReadNumber(std::string_view text, int radix) {
  const auto number = base::ParseNumber<std::uint64_t>(text, radix);
  if (!number) throw std::invalid_argument("a number is needed");
  return *number;
}

std::uint64_t ReadNumberUpTo(std::string_view text, std::uint64_t most, int base = 10) {
  std::uint64_t number = ReadNumber(text, base);
  if (number > most) throw std::invalid_argument("too large");
  return number;
}

// With a suffix K, M, G or T of 1024's powers.
std::uint64_t ReadBytes(std::string_view text) {
  constexpr std::string_view kSuffixes = "KMGT";
  std::size_t power = text.empty() ? std::string_view::npos : kSuffixes.find(text.back());
  if (power == std::string_view::npos) return ReadNumber(text, 10);
  text.remove_suffix(1);
  const unsigned shift = static_cast<unsigned>(10 * (power + 1));
  return ReadNumberUpTo(text, std::numeric_limits<std::uint64_t>::max() >> shift) << shift;
}

std::uint64_t ReadBytesFrom(std::string_view text, std::uint64_t least) {
  std::uint64_t bytes = ReadBytes(text);
  if (bytes < least) throw std::invalid_argument("too small");
  return bytes;
}

std::filesystem::path ReadFolder(std::string_view text) {
  if (text.empty()) throw std::invalid_argument("a folder is needed");
  return std::filesystem::absolute(text);  // the mount leaves the folder that it was started from
}

Saving ReadSaving(std::string_view text) {
  if (text == "close") return Saving::kAtClose;
  if (text == "background") return Saving::kInBackground;
  throw std::invalid_argument("close or background is needed");
}

struct Row {
  const char* name;  // with "=" if it takes a value
  const char* help;
  const char* preset;
  void (*set)(MountOptions& options, std::string_view value);
};

constexpr std::uint64_t kMostId = 0xFFFFFFFE;

constexpr std::array kRows = {
    Row{"ro", "read only", "off", [](MountOptions& o, std::string_view) { o.MakeReadOnly(); }},
    Row{"allow_other", "other users may look", "off",
        [](MountOptions& o, std::string_view) { o.kernel.allow_other = true; }},
    Row{"auto_unmount", "unmount if b2drive ends in any way", "off",
        [](MountOptions& o, std::string_view) { o.kernel.auto_unmount = true; }},
    Row{"nonempty", "mount over a folder that is not empty", "off",
        [](MountOptions& o, std::string_view) { o.nonempty = true; }},
    Row{"uid=", "owner of everything", "yours",
        [](MountOptions& o, std::string_view value) {
          o.kernel.uid = static_cast<uid_t>(ReadNumberUpTo(value, kMostId));
        }},
    Row{"gid=", "group of everything", "yours",
        [](MountOptions& o, std::string_view value) {
          o.kernel.gid = static_cast<gid_t>(ReadNumberUpTo(value, kMostId));
        }},
    Row{"umask=", "permission bits that are off, octal", "022",
        [](MountOptions& o, std::string_view value) {
          o.kernel.umask = static_cast<mode_t>(ReadNumberUpTo(value, 0777, 8));
        }},
    Row{"cache_dir=", "folder for blocks and for what is being written",
        "b2drive in $XDG_CACHE_HOME or ~/.cache",
        [](MountOptions& o, std::string_view value) { o.cache_dir = ReadFolder(value); }},
    Row{"cache_size=", "most bytes of blocks kept (K, M, G)", "1G",
        [](MountOptions& o, std::string_view value) {
          o.files.cache_size = ReadBytesFrom(value, 1UL << 20);
        }},
    Row{"save=", "when files are sent: close or background, see below", "close",
        [](MountOptions& o, std::string_view value) { o.files.saving = ReadSaving(value); }},
    Row{"pending_size=", "most bytes that wait in the background (K, M, G); then closes wait",
        "20% of what is free below cache_dir",
        [](MountOptions& o, std::string_view value) { o.files.pending_size = ReadBytes(value); }},
    Row{"dir_ttl=", "seconds that a listing is believed", "60",
        [](MountOptions& o, std::string_view value) {
          o.files.dir_ttl = std::chrono::seconds(ReadNumberUpTo(value, 1'000'000'000));
        }},
    Row{"read_ahead=", "longest range asked for at once (K, M)", "16M",
        [](MountOptions& o, std::string_view value) {
          o.files.read_ahead = ReadBytesFrom(value, 128UL << 10);
        }},
    Row{"rename_max=", "most files and folders in a folder that is renamed", "10000",
        [](MountOptions& o, std::string_view value) {
          o.files.rename_max = ReadNumberUpTo(value, 1'000'000'000);
        }},
    Row{"retries=", "how often a call that failed for a passing reason is repeated", "5",
        [](MountOptions& o, std::string_view value) {
          o.files.retries = static_cast<int>(ReadNumberUpTo(value, 1000));
        }},
    Row{"size=", "size that df shows (G, T)", "the account's",
        [](MountOptions& o, std::string_view value) { o.files.size = ReadBytesFrom(value, 4096); }},
};

bool IsMountsOwn(std::string_view word) {
  constexpr std::array<std::string_view, 17> kWords = {
      "_netdev", "nofail",   "noauto",  "auto",     "user", "nouser", "users", "owner", "group",
      "rw",      "defaults", "noatime", "relatime", "suid", "nosuid", "dev",   "nodev"};
  return word.starts_with("x-") || std::ranges::find(kWords, word) != kWords.end() ||
         word == "exec" || word == "noexec";
}

void Apply(MountOptions& options, std::string_view word) {
  const std::size_t equals = word.find('=');
  const bool has_value = equals != std::string_view::npos;
  std::string_view name = has_value ? word.substr(0, equals + 1) : word;
  const auto* row =
      std::ranges::find(kRows, name, [](const Row& r) { return std::string_view(r.name); });
  if (row == kRows.end() && IsMountsOwn(word)) return;
  try {
    if (row == kRows.end()) throw std::invalid_argument("no such option");
    row->set(options, has_value ? word.substr(equals + 1) : "");
  } catch (const std::invalid_argument& error) {
    throw HostError(ExitCode::kUsage, "-o " + std::string(word) + ": " + error.what() +
                                          " (see b2drive mount --help)");
  }
}

std::filesystem::path UsersCacheFolder() {
  const char* cache = std::getenv("XDG_CACHE_HOME");
  if (cache != nullptr && *cache == '/') return std::filesystem::path(cache) / "b2drive";
  const char* home = std::getenv("HOME");
  if (home != nullptr && *home == '/') return std::filesystem::path(home) / ".cache" / "b2drive";
  return "/var/cache/b2drive";
}

}  // namespace

MountOptions::MountOptions() : cache_dir(UsersCacheFolder()) {}

MountOptions ParseMountOptions(const std::string& text) {
  MountOptions options;
  for (std::string_view rest = text; !rest.empty();) {
    std::string_view word = rest.substr(0, rest.find(','));
    rest.remove_prefix(std::min(word.size() + 1, rest.size()));
    if (!word.empty()) Apply(options, word);
  }
  return options;
}

std::string MountOptionsHelp() {
  std::ostringstream text;
  for (const Row& row : kRows) {
    text << "  " << std::left << std::setw(15) << row.name << row.help << " (" << row.preset
         << ")\n";
  }
  text << "\nWith save=close the service holds a file when its close returns.\n"
          "With save=background the disk below cache_dir does, and the file is sent afterwards, as "
          "new\n"
          "folders are; fsync of a file or folder and unmounting wait for the service.\n";
  return text.str();
}

}  // namespace b2drive::mount
