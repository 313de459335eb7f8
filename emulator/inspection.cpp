#include "emulator/inspection.h"

#include "emulator/errors.h"

namespace emulator {
namespace {

std::string IdOf(const Store& store, const std::string& bucket) {
  const auto found = store.FindBucket(bucket);
  if (!found) throw NotFound("No bucket " + bucket);
  return found->id;
}

}  // namespace

std::vector<std::string> VisibleNames(const Store& store, const std::string& bucket) {
  std::vector<std::string> names;
  for (const ListEntry& entry :
       store.ListNames(IdOf(store, bucket), {.max_count = SIZE_MAX}).entries) {
    names.push_back(entry.version->name);
  }
  return names;
}

std::vector<VersionPtr> VersionsOf(const Store& store, const std::string& bucket,
                                   const std::string& name) {
  const ListQuery query{.prefix = name, .max_count = SIZE_MAX};
  std::vector<VersionPtr> versions;
  for (const ListEntry& entry : store.ListVersions(IdOf(store, bucket), query).entries) {
    if (entry.version->name == name) versions.push_back(entry.version);
  }
  return versions;
}

std::vector<std::string> Versions(const Store& store, const std::string& bucket,
                                  const std::string& name) {
  std::vector<std::string> contents;
  for (const VersionPtr& version : VersionsOf(store, bucket, name)) {
    contents.push_back(version->action == Action::kHide    ? kHidden
                       : version->action == Action::kStart ? kUnfinished
                                                           : version->content->Text());
  }
  return contents;
}

std::string ReadText(const Store& store, const std::string& bucket, const std::string& name) {
  const VersionPtr version = store.Visible(IdOf(store, bucket), name);
  if (!version) throw NotFound("No visible file " + name);
  return version->content->Text();
}

}  // namespace emulator
