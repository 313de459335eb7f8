#include "host/local/part_record.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "host/common/errors.h"
#include "host/local/local_io.h"

namespace b2drive {
namespace {

constexpr char kMagic[] = "b2drive part 1\n";
constexpr std::size_t kDescription = 896;
constexpr std::size_t kBoot = 128;

std::string Describe(const PartContents& contents) {
  std::string text = kMagic;
  for (const std::uint64_t number :
       {contents.size, contents.offset, contents.length, contents.range}) {
    text += std::to_string(number) + "\n";
  }
  return text + contents.id + "\n";
}

template <std::size_t kSize>
void Put(std::array<char, kSize>& field, const std::string& text) {
  std::copy_n(text.data(), std::min(text.size(), kSize), field.data());
}

template <std::size_t kSize>
std::string Get(const std::array<char, kSize>& field) {
  return {field.data(), strnlen(field.data(), kSize)};
}

}  // namespace

// As it stands in the file, in this machine's byte order.
struct PartRecord::Page {
  std::array<Progress, kMostRanges> progress{};
  std::array<char, kDescription> description{};
  std::array<char, kBoot> boot{};
};

PartRecord::PartRecord(const PartContents& contents)
    : contents_(contents), description_(Describe(contents)), boot_(CurrentBoot()) {
  static_assert(sizeof(Page) == kPage);
  progress_.resize((contents.length + contents.range - 1) / contents.range);
  if (description_.size() <= kDescription && progress_.size() <= kMostRanges) return;
  throw HostError(ExitCode::kFailed, "the service's identifier of the file is too long");
}

std::optional<PartRecord> PartRecord::Read(int fd) {
  struct stat status {};
  if (fstat(fd, &status) != 0 || status.st_size % static_cast<off_t>(kPage) != 0)
    return std::nullopt;
  Page page;
  const off_t at = status.st_size - static_cast<off_t>(kPage);
  if (at < 0 || pread(fd, &page, kPage, at) != kPage) return std::nullopt;
  PartRecord record;
  record.description_ = Get(page.description);
  record.boot_ = Get(page.boot);
  record.progress_.assign(page.progress.begin(), page.progress.end());
  if (!record.description_.starts_with(kMagic)) return std::nullopt;
  return record;
}

int PartRecord::Write(int fd) const {
  Page page;
  std::ranges::copy(progress_, page.progress.begin());
  Put(page.description, description_);
  Put(page.boot, boot_);
  return WriteAllAt(fd, {reinterpret_cast<const char*>(&page), kPage}, PagePosition());
}

int PartRecord::WriteRange(int fd, std::size_t which) const {
  const char* entry = reinterpret_cast<const char*>(&progress_[which]);
  return WriteAllAt(fd, {entry, sizeof(Progress)}, PagePosition() + which * sizeof(Progress));
}

std::uint64_t PartRecord::PagePosition() const { return (length() + kPage - 1) / kPage * kPage; }

std::uint64_t PartRecord::EndOf(std::size_t range) const {
  return std::min(BeginOf(range) + contents_.range, length());
}

std::uint64_t PartRecord::ReachedIn(std::size_t range) const {
  return BeginOf(range) + progress_[range].reached;
}

std::uint64_t PartRecord::kept() const {
  std::uint64_t sum = 0;
  for (const Progress& range : progress_) sum += range.reached;
  return sum;
}

std::uint64_t PartRecord::Advance(std::size_t range, std::uint64_t begin, std::uint64_t end) {
  const std::uint64_t reached = ReachedIn(range);
  const std::uint64_t to = std::min(end, EndOf(range));
  if (begin > reached || to <= reached) return 0;
  progress_[range].reached = to - BeginOf(range);
  return to - reached;
}

void PartRecord::Fill() {
  for (std::size_t i = 0; i < progress_.size(); ++i) {
    progress_[i].reached = progress_[i].secured = EndOf(i) - BeginOf(i);
  }
}

void PartRecord::Secure(const PartRecord& earlier) {
  for (std::size_t i = 0; i < progress_.size(); ++i) {
    progress_[i].secured = earlier.progress_[i].reached;
  }
}

void PartRecord::DropUnsecured() {
  for (Progress& range : progress_) range.reached = range.secured;
}

bool PartRecord::Continue(const PartRecord& found) {
  if (found.description_ != description_) return false;
  const bool same_boot = found.boot_ == boot_ && boot_ != kUnknownBoot;
  for (std::size_t i = 0; i < progress_.size(); ++i) {
    Progress range = found.progress_[i];
    if (!same_boot) range.reached = range.secured;
    const std::uint64_t most = EndOf(i) - BeginOf(i);
    const bool sound = range.secured <= range.reached && range.reached <= most;
    progress_[i] = sound ? range : Progress{};
  }
  return true;
}

}  // namespace b2drive
