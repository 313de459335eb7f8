#include "protocol/file_list.h"

AERROR FileList::AddFile(const _FS_FILE_V2* file) {
  files_.push_back(std::make_shared<_FS_FILE_V2>(*file));
  return AERROR::SUCCESS;
}
