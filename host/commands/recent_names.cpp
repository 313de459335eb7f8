#include "host/commands/recent_names.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>

#include "host/common/stable_hash.h"
#include "host/local/local_io.h"
#include "host/local/private_file.h"
#include "host/terminal/text_format.h"

namespace b2drive::cli {
namespace fs = std::filesystem;
namespace {

using Json = nlohmann::json;
using Names = std::vector<std::string>;

// Empty when the user has no place for it.
fs::path Folder() {
  const std::pair<const char*, const char*> places[] = {
      {"XDG_RUNTIME_DIR", "b2drive"}, {"XDG_CACHE_HOME", "b2drive"}, {"HOME", ".cache/b2drive"}};
  for (const auto& [variable, below] : places) {
    const char* place = std::getenv(variable);
    if (place != nullptr && *place == '/') return fs::path(place) / below;
  }
  return {};
}

// One file an account holds the latest folder.
fs::path FileFor(const std::string& key_id) {
  return Folder() / ("completion-" + StableHash(key_id));
}

bool IsMine(const fs::path& file) {
  struct stat status {};
  return lstat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         status.st_uid == geteuid() && (status.st_mode & 077) == 0;
}

std::optional<Names> Kept(const fs::path& file, const std::string& key_id,
                          const std::string& folder) {
  constexpr std::time_t kSeconds = 10;
  if (!IsMine(file)) return std::nullopt;
  const Json kept = Json::parse(ReadSmallFile(file), nullptr, false);
  try {
    const std::time_t age = std::time(nullptr) - kept.at("time").get<std::time_t>();
    if (age < 0 || age > kSeconds || kept.at("key_id") != key_id || kept.at("folder") != folder) {
      return std::nullopt;
    }
    return kept.at("names").get<Names>();
  } catch (const Json::exception&) {
    return std::nullopt;
  }
}

// What cannot be kept is asked for again.
void Keep(const fs::path& file, const std::string& key_id, const std::string& folder,
          const Names& names) {
  try {
    MakePrivateFolders(file.parent_path());
    const Json kept = {
        {"time", std::time(nullptr)}, {"key_id", key_id}, {"folder", folder}, {"names", names}};
    ReplacePrivateFile(file, kept.dump());
  } catch (const std::exception&) {
    return;
  }
}

}  // namespace

Names RecentNames(const std::string& key_id, const std::string& folder,
                  const std::function<Names()>& list) {
  const fs::path file = FileFor(key_id);
  if (auto kept = Kept(file, key_id, folder)) return *kept;
  Names names = list();
  std::erase_if(names, [](const std::string& name) { return EscapeControls(name) != name; });
  Keep(file, key_id, folder, names);
  return names;
}

}  // namespace b2drive::cli
