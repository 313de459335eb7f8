#include "emulator/seeding.h"

#include <array>
#include <boost/algorithm/string/split.hpp>
#include <cstdio>
#include <stdexcept>
#include <vector>

#include "base/numbers.h"
#include "emulator/errors.h"
#include "emulator/inspection.h"
#include "emulator/memory.h"

namespace emulator {
namespace {

[[noreturn]] void Refuse(std::string_view text, const std::string& why) {
  throw std::invalid_argument("seed '" + std::string(text) + "': " + why);
}

uint64_t ParseCount(std::string_view field, std::string_view text) {
  const auto count = base::ParseNumber<uint64_t>(field);
  if (!count) Refuse(text, "'" + std::string(field) + "' is not a number");
  return *count;
}

uint64_t ParseSize(std::string_view field, std::string_view text) {
  constexpr std::string_view kSuffixes = "KMG";
  const size_t suffix = field.empty() ? std::string_view::npos : kSuffixes.find(field.back());
  if (suffix == std::string_view::npos) return ParseCount(field, text);
  field.remove_suffix(1);
  return ParseCount(field, text) << (10 * (suffix + 1));
}

std::string NumberedName(const Seed& seed, uint64_t number) {
  std::array<char, 32> text{};
  if (seed.folders > 0) {
    std::snprintf(text.data(), text.size(), "%04d/%07d", static_cast<int>(number % seed.folders),
                  static_cast<int>(number));
  } else {
    std::snprintf(text.data(), text.size(), "%07d", static_cast<int>(number));
  }
  return seed.prefix + text.data();
}

}  // namespace

Seed ParseSeed(std::string_view text) {
  std::vector<std::string> fields;
  boost::algorithm::split(fields, text, [](char c) { return c == ':'; });
  if (fields.size() < 3 || fields.size() > 4) {
    Refuse(text, "must be BUCKET/PREFIX:COUNT:SIZE[:FOLDERS]");
  }
  const size_t slash = fields[0].find('/');
  if (slash == std::string::npos) Refuse(text, "names no bucket and prefix");
  Seed seed{fields[0].substr(0, slash), fields[0].substr(slash + 1), ParseCount(fields[1], text),
            ParseSize(fields[2], text)};
  if (fields.size() == 4) seed.folders = ParseCount(fields[3], text);
  if (seed.count == 1 && seed.prefix.empty()) Refuse(text, "a single file needs a name");
  return seed;
}

Bucket EnsureBucket(Store& store, const std::string& name) {
  const auto found = store.FindBucket(name);
  return found ? *found : store.CreateBucket({.name = name});
}

bool Plant(Store& store, const Seed& seed, const std::function<bool()>& go_on) {
  Need need;
  need.AddFiles(seed.count, NumberedName(seed, 0).size());
  CheckMemory(need, store.KeepsContents(), "seed '" + seed.bucket + "/" + seed.prefix + "'");
  const Bucket bucket = EnsureBucket(store, seed.bucket);
  ContentPtr content = Content::Synthetic(seed.size, go_on);
  if (!content) return false;
  content = store.Adopt(std::move(content));
  const bool single = seed.count == 1 && seed.folders == 0;
  for (uint64_t i = 0; i < seed.count; ++i) {
    if (go_on && !go_on()) return false;
    store.AddFile(bucket.id, {.name = single ? seed.prefix : NumberedName(seed, i)}, content);
  }
  return true;
}

VersionPtr AddText(Store& store, const std::string& bucket, const std::string& name,
                   std::string_view text, const FileInfo& info) {
  return store.AddFile(EnsureBucket(store, bucket).id, {.name = name, .info = info},
                       Content::FromText(text));
}

void HideFile(Store& store, const std::string& bucket, const std::string& name) {
  store.Hide(EnsureBucket(store, bucket).id, name);
}

void DeleteVersions(Store& store, const std::string& bucket, const std::string& name) {
  const std::vector<VersionPtr> versions = VersionsOf(store, bucket, name);
  if (versions.empty()) throw NotFound("No file " + name);
  for (const VersionPtr& version : versions) store.Delete(name, version->Id());
}

}  // namespace emulator
