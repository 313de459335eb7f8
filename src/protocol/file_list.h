#pragma once

#include <memory>
#include <vector>

#include "host_interfaces.h"

// Collects the records of a listing.
class FileList final : public IFileList {
 public:
  // Appends a copy; always SUCCESS.
  AERROR AddFile(const _FS_FILE_V2* file) override {
    files_.push_back(std::make_shared<_FS_FILE_V2>(*file));
    return AERROR::SUCCESS;
  }

  std::vector<std::shared_ptr<_FS_FILE_V2>>& GetFileList() { return files_; }

 private:
  std::vector<std::shared_ptr<_FS_FILE_V2>> files_;
};
