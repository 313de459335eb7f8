#pragma once

#include <memory>
#include <vector>

#include "protocol/host_interfaces.h"

// Collects the records of a listing.
class FileList final : public IFileList {
 public:
  // Appends a copy; always SUCCESS.
  AERROR AddFile(const _FS_FILE_V2* file) override;

  std::vector<std::shared_ptr<_FS_FILE_V2>>& GetFileList() { return files_; }

 private:
  std::vector<std::shared_ptr<_FS_FILE_V2>> files_;
};
