#include "host/mount/files/folder_reader.h"

#include <utility>

#include "host/common/path.h"

namespace b2drive::mount {

FolderReader::FolderReader(FileServices& services, OpenFiles& files, const std::string& folder,
                           Dressing dress)
    : services_(services), files_(files), folder_(folder), dress_(std::move(dress)) {
  // Before the listing: a file that is let go meanwhile stands in it.
  const std::vector<SharedFilePtr> open = files_.In(folder);
  stored_ = services_.directory.StartReading(folder);
  for (const SharedFilePtr& file : open) {
    open_.push_back(file->Stat());
    open_names_.insert(open_.back().name);
  }
}

void FolderReader::Read(std::uint64_t position, const Show& show) {
  if (position < open_.size()) return ShowOpen(position, show);
  while (true) {
    const NameTable::Run run = services_.directory.ReadFrom(*stored_, position - open_.size());
    if (!run.piece || ShowStored(position, run, show)) return;
    position += run.piece->size() - run.first;
  }
}

void FolderReader::ShowOpen(std::uint64_t position, const Show& show) const {
  for (; position < open_.size(); ++position) {
    if (!show(position + 1, open_[position])) return;
  }
}

// Whether anything was shown.
bool FolderReader::ShowStored(std::uint64_t position, const NameTable::Run& run, const Show& show) {
  bool shown = false;
  for (std::size_t i = run.first; i < run.piece->size(); ++i) {
    ++position;
    if (open_names_.contains(run.piece->Name(i))) continue;
    const std::string path = Join(folder_, run.piece->Name(i));
    shown = true;
    // One that was opened since may be written to.
    const SharedFilePtr file = files_.Find(path);
    if (!show(position, file ? file->Stat() : dress_(run.piece->At(i), path))) break;
  }
  return shown;
}

}  // namespace b2drive::mount
