#include <utility>

#include "emulator/content_types.h"
#include "emulator/errors.h"
#include "emulator/file_id.h"
#include "emulator/sha1.h"
#include "emulator/store.h"

namespace emulator {
namespace {

ContentPtr HideContent() {
  static const ContentPtr nothing = Content::FromText("");
  return nothing;
}

}  // namespace

std::string Version::Id() const {
  const IdKind kind = action == Action::kHide ? IdKind::kTiny
                      : large                 ? IdKind::kLarge
                                              : IdKind::kSingle;
  return MakeFileId(*bucket_id, kind, sequence, timestamp);
}

VersionPtr Store::Make(const BucketState& bucket, const NewFile& file, ContentPtr content,
                       Action action) {
  Version version;
  version.name = file.name;
  version.content_type = ResolveContentType(file.content_type, file.name);
  version.info = CheckedInfo(file.info, file.name);
  version.bucket_id = bucket.id;
  version.content = std::move(content);
  version.timestamp = rules_.clock();
  version.sequence = next_sequence_++;
  version.action = action;
  return std::make_shared<const Version>(std::move(version));
}

void Store::Insert(BucketState& bucket, const VersionPtr& version) {
  bucket.versions.insert(version);
  by_sequence_[version->sequence] = version;
  RefreshVisible(bucket, version->name);
}

void Store::Erase(BucketState& bucket, const VersionPtr& version) {
  bucket.versions.erase(version);
  by_sequence_.erase(version->sequence);
  RefreshVisible(bucket, version->name);
}

VersionPtr Store::NewestFinished(const BucketState& bucket, const std::string& name) {
  for (auto it = bucket.versions.lower_bound(Position{name, kNewest});
       it != bucket.versions.end() && (*it)->name == name; ++it) {
    if ((*it)->action != Action::kStart) return *it;
  }
  return nullptr;
}

void Store::RefreshVisible(BucketState& bucket, const std::string& name) {
  const auto shown = bucket.visible.lower_bound(Position{name, kNewest});
  if (shown != bucket.visible.end() && (*shown)->name == name) bucket.visible.erase(shown);
  const VersionPtr newest = NewestFinished(bucket, name);
  if (newest && newest->action == Action::kUpload) bucket.visible.insert(newest);
}

VersionPtr Store::Lookup(const std::string& file_id) const {
  const std::optional<uint64_t> sequence = SequenceOf(file_id);
  if (!sequence) throw BadRequest("Invalid fileId: " + file_id);
  const auto found = by_sequence_.find(*sequence);
  if (found == by_sequence_.end() || found->second->Id() != file_id) return nullptr;
  return found->second;
}

VersionPtr Store::AddFile(const std::string& bucket_id, const NewFile& file, ContentPtr content) {
  CheckFileName(file.name);
  base::WriteLock lock(mutex_);
  BucketState& bucket = At(bucket_id);
  VersionPtr version = Make(bucket, file, std::move(content), Action::kUpload);
  Insert(bucket, version);
  return version;
}

VersionPtr Store::Hide(const std::string& bucket_id, const std::string& name) {
  base::WriteLock lock(mutex_);
  BucketState& bucket = At(bucket_id);
  const VersionPtr newest = NewestFinished(bucket, name);
  if (!newest) throw ServiceError(400, "no_such_file", "File not present: " + name);
  if (newest->action == Action::kHide) {
    throw ServiceError(400, "already_hidden", "File already hidden: " + name);
  }
  const NewFile marker{.name = name, .content_type = std::string(kHideMarkerType)};
  VersionPtr version = Make(bucket, marker, HideContent(), Action::kHide);
  Insert(bucket, version);
  return version;
}

VersionPtr Store::Find(const std::string& file_id) const {
  base::ReadLock lock(mutex_);
  VersionPtr version = Lookup(file_id);
  if (!version) throw NotFound("File not present: " + file_id);
  return version;
}

VersionPtr Store::Visible(const std::string& bucket_id, const std::string& name) const {
  base::ReadLock lock(mutex_);
  const BucketState& bucket = At(bucket_id);
  const auto found = bucket.visible.lower_bound(Position{name, kNewest});
  return found != bucket.visible.end() && (*found)->name == name ? *found : nullptr;
}

void Store::Delete(const std::string& name, const std::string& file_id) {
  base::WriteLock lock(mutex_);
  const VersionPtr version = SequenceOf(file_id) ? Lookup(file_id) : nullptr;
  if (!version || version->name != name) {
    throw ServiceError(400, "file_not_present", "File not present: " + name + " " + file_id);
  }
  large_.erase(version->sequence);
  Erase(At(*version->bucket_id), version);
}

}  // namespace emulator
