#include "host/plugin/folder_reading.h"

#include <algorithm>

namespace b2drive {

NameTable::Run FolderReading::At(std::uint64_t position) const {
  const auto step = std::ranges::upper_bound(steps_, position, {}, &Step::end);
  if (step == steps_.end()) return {};
  return {step->run.piece, step->run.piece->size() - (step->end - position)};
}

void FolderReading::Add(NameTable::Run run) {
  const std::uint64_t begin = steps_.empty() ? 0 : steps_.back().end;
  const std::uint64_t count = run.piece->size() - run.first;
  steps_.push_back({std::move(run), begin + count});
}

FolderReading::Progress FolderReading::ReadOn() {
  if (ended_) return Progress::kEnd;
  NameTable::Run run = listing_->names().Behind(last_);
  if (run.piece) {
    last_ = run.piece->Name(run.piece->size() - 1);
    Add(std::move(run));
    return Progress::kMore;
  }
  listing_->Check();
  if (listing_->is_coming()) return Progress::kNotYet;
  ended_ = true;
  if (!began_early_ || listing_->in_order()) return Progress::kEnd;
  AddMissed();
  return Progress::kMore;
}

// What came out of order stands behind what was passed before.
void FolderReading::AddMissed() {
  auto missed = std::make_shared<PackedEntries>();
  auto step = steps_.begin();
  std::size_t at = steps_.empty() ? 0 : step->run.first;
  listing_->names().Visit([&](const PackedEntries& entries, std::size_t i) {
    const std::string_view name = entries.Name(i);
    while (step != steps_.end() && CompareNames(step->run.piece->Name(at), name) < 0) {
      if (++at < step->run.piece->size()) continue;
      if (++step != steps_.end()) at = step->run.first;
    }
    const bool passed = step != steps_.end() && step->run.piece->Name(at) == name;
    if (!passed) missed->Add(entries.At(i), entries.Place(i));
    return true;
  });
  if (missed->size() > 0) Add({std::move(missed), 0});
}

}  // namespace b2drive
