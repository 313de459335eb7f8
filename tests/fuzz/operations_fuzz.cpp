// One file that programs write while it is saved, sent, moved and given up, against its bytes in
// memory; now and then the mount ends and starts again.

#include <optional>

#include "host/local/local_io.h"
#include "host/mount/files/pending_contents.h"
#include "tests/fuzz/input.h"

namespace {

using namespace b2drive::mount;
using Bytes = std::optional<std::string>;

bool Holds(const SpoolPtr& file, const Bytes& bytes) {
  if (!file || !bytes) return !file && !bytes;
  std::string contents(file->Size(), '\0');
  b2drive::ReadAt(file->fd(), contents.data(), contents.size(), 0);
  return contents == *bytes;
}

class File {
 public:
  File() { Start(); }

  // "STEP NUMBER TEXT".
  void Do(fuzz::Input words) {
    const char step = words.Pick("wtesybdfrxak");
    const std::uint64_t number = words.Number(9000);
    const std::string text = words.Rest();
    if (step == 'k' || abandoned_) return Start();
    if (step == 'w') return Write(number, text);
    if (step == 't') return Resize(number);
    if (step == 'e') return StartEmpty();
    if (step == 's') return Seal();
    if (step == 'd') return Sent();
    if (step == 'x') return Retire();
    if (step == 'y') pending_->Secure();
    if (step == 'f' && sending_) pending_->NotSent(sending_);
    if (step == 'r') pending_->Redirect("/" + text, "base");
    if (step == 'b') {
      sending_ = pending_->sealed();
      sent_ = sealed_;
    }
    if (step == 'a') {
      pending_->Abandon();
      abandoned_ = true;
      sealed_.reset();
    }
  }

  void Check() const {
    fuzz::Must(Holds(pending_->visible(), shown_), "what programs see");
    fuzz::Must(Holds(pending_->sealed(), sealed_), "what waits to be sent");
    fuzz::Must(Holds(sending_, sent_) || !sending_, "what is being sent");
    fuzz::Must(pending_->HasUnsealed() == (unsealed_ && !abandoned_), "whether all is sealed");
  }

  // Ends what runs, if anything, and starts again with what waits.
  void Start() {
    sending_.reset();
    pending_.reset();
    spool_.emplace(SystemDisk(), fuzz::Folder() / "spool", "boot");
    Spool::Found found = spool_->Recover();
    fuzz::Must(found.damaged.empty() && found.unsent.size() == (sealed_ ? 1 : 0), "what survives");
    unsealed_ = abandoned_ = false;
    shown_ = sealed_;
    if (sealed_) pending_.emplace(*spool_, blocks_, std::move(found.unsent.front()));
    if (!sealed_) pending_.emplace(*spool_, blocks_, Destination{"/file", "", {}});
  }

 private:
  // As a handle does when the stored version is what programs see.
  void Bring(std::uint64_t count) {
    const SpoolPtr contents = spool_->Make();
    shown_ = stored_.substr(0, count);
    spool_->Write(*contents, shown_->data(), shown_->size(), 0);
    pending_->Show(contents);
  }

  void Write(std::uint64_t offset, const std::string& text) {
    while (!pending_->Write(offset, text.data(), text.size())) Bring(UINT64_MAX);
    unsealed_ = true;
    if (text.empty()) return;
    shown_->resize(std::max<std::size_t>(shown_->size(), offset + text.size()));
    shown_->replace(offset, text.size(), text);
  }

  void Resize(std::uint64_t size) {
    while (!pending_->Resize(size)) Bring(size);
    shown_ = shown_.value_or("");
    shown_->resize(size);
    unsealed_ = true;
  }

  void StartEmpty() {
    pending_->StartEmpty();
    shown_ = "";
    unsealed_ = true;
  }

  void Seal() {
    pending_->Seal();
    if (unsealed_) sealed_ = shown_;
    unsealed_ = false;
  }

  void Sent() {
    if (!sending_) return;
    if (sending_ == pending_->sealed()) sealed_.reset();
    pending_->Sent(sending_, "id");
    sending_.reset();
    stored_ = *sent_;
  }

  void Retire() {
    const SpoolPtr contents = pending_->Retire();
    fuzz::Must(static_cast<bool>(contents) == (shown_ && !unsealed_ && !sealed_), "what retires");
    if (!contents) return;
    blocks_.Adopt("id", shown_->size(), contents->file());
    std::string kept(shown_->size(), '\0');
    kept.resize(blocks_.Open("id", kept.size())->Read(0, kept.data(), kept.size()).copied);
    fuzz::Must(kept == stored_, "what is cached");
    shown_.reset();
  }

  BlockCache blocks_{SystemDisk(), fuzz::Folder() / "blocks", 1 << 20, 4};
  std::optional<Spool> spool_;
  std::optional<PendingContents> pending_;
  SpoolPtr sending_;
  std::string stored_;
  Bytes shown_, sealed_, sent_;
  bool unsealed_ = false;
  bool abandoned_ = false;
};

}  // namespace

void fuzz::Run(Input& input) {
  std::filesystem::remove_all(fuzz::Folder() / "spool");
  File file;
  for (; !input.AtEnd(); file.Check()) file.Do(fuzz::Input(input.Line()));
  file.Start();
}
