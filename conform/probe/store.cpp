#include "conform/probe/store.h"

#include <openssl/evp.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <utility>

#include "base/encodings.h"

namespace probe {
namespace {

constexpr char kTime[] = "2017-07-14T02:40:00.000Z";
constexpr char kMarker[] = ".bzEmpty";

std::string Pattern(std::size_t size) {
  std::string bytes;
  for (int i = 0; bytes.size() < size; ++i) bytes += std::to_string(i) + '\n';
  bytes.resize(size);
  return bytes;
}

void Journal(const std::string& line) {
  const char* const file = std::getenv("B2PROBE_JOURNAL");
  if (file != nullptr) std::ofstream(file, std::ios::app) << line << std::endl;
}

}  // namespace

std::string Sha1(const std::string& bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha1(), nullptr);
  return base::ToHex({reinterpret_cast<const char*>(digest), length});
}

Store::Store() {
  const base::Lock lock(mutex_);
  for (auto& [name, bytes] : std::map<std::string, std::string>{{"d/a", "contents of a\n"},
                                                                {"d/b", Pattern(100'000)},
                                                                {"d/e/f", "deep\n"},
                                                                {"big", Pattern(2'000'000)},
                                                                {"empty", ""}}) {
    files_[name] = {name, "id" + std::to_string(++last_), std::make_shared<std::string>(bytes)};
  }
}

std::optional<Store::File> Store::Find(const std::string& id) {
  const base::Lock lock(mutex_);
  for (const auto& [name, file] : files_) {
    if (std::string(kBucketId) + "/" + file.id == id) return file;
  }
  return std::nullopt;
}

_FS_FILE_V2 Store::RecordOf(const File& file, std::size_t prefix) const {
  _FS_FILE_V2 record;
  record.id = std::string(kBucketId) + "/" + file.id;
  record.type = FS_FILE;
  record.size = file.bytes->size();
  record.first_time = record.second_time = record.third_time = kTime;
  record.name = file.name.substr(prefix);
  record.texts = {"sha1=" + Sha1(*file.bytes), "type=text/plain", "action=upload"};
  return record;
}

std::vector<_FS_FILE_V2> Store::List(const std::string& prefix) {
  const base::Lock lock(mutex_);
  std::vector<_FS_FILE_V2> records;
  std::set<std::string> folders;
  for (const auto& [name, file] : files_) {
    if (!name.starts_with(prefix)) continue;
    const std::string rest = name.substr(prefix.size());
    const std::size_t slash = rest.find('/');
    if (slash == rest.npos) {
      if (rest != kMarker) records.push_back(RecordOf(file, prefix.size()));
    } else if (folders.insert(rest.substr(0, slash)).second) {
      _FS_FILE_V2 folder;
      folder.name = rest.substr(0, slash);
      folder.id = std::string(kBucketId) + "/" + prefix + folder.name;
      folder.type = FS_DIRECTORY;
      folder.first_time = folder.second_time = folder.third_time = kTime;
      records.push_back(folder);
    }
  }
  return records;
}

_FS_FILE_V2 Store::Put(const std::string& name, std::string bytes) {
  Journal("stored " + name + " " + std::to_string(bytes.size()) + " " + Sha1(bytes));
  const base::Lock lock(mutex_);
  File& file = files_[name];
  file = {name, "id" + std::to_string(++last_), std::make_shared<std::string>(std::move(bytes))};
  return RecordOf(file, name.rfind('/') + 1);
}

bool Store::Delete(const std::string& id) {
  const std::optional<File> file = Find(id);
  if (!file) return false;
  Journal("deleted " + file->name);
  const base::Lock lock(mutex_);
  return files_.erase(file->name) > 0;
}

bool Store::HasBelow(const std::string& prefix) {
  const base::Lock lock(mutex_);
  const auto first = files_.lower_bound(prefix);
  return first != files_.end() && first->first.starts_with(prefix);
}

void Store::DeleteBelow(const std::string& prefix) {
  const base::Lock lock(mutex_);
  for (auto file = files_.lower_bound(prefix);
       file != files_.end() && file->first.starts_with(prefix);) {
    Journal("deleted " + file->first);
    file = files_.erase(file);
  }
}

}  // namespace probe
