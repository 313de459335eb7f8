#include "emulator/version.h"

#include "emulator/file_id.h"

namespace emulator {

std::string Version::Id() const {
  const IdKind kind = action == Action::kHide ? IdKind::kTiny
                      : large                 ? IdKind::kLarge
                                              : IdKind::kSingle;
  return MakeFileId(*bucket_id, kind, sequence, timestamp);
}

}  // namespace emulator
