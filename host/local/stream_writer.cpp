#include "host/local/stream_writer.h"

#include <cerrno>

#include "host/local/local_io.h"

namespace b2drive {

int StreamWriter::Write(std::uint64_t offset, const char* data, std::size_t count) {
  if (offset < held_at_) return EILSEQ;
  if (offset > held_at_) {
    const int error = WriteHeld();
    if (error != 0) return error;
    if (offset != held_at_) return EILSEQ;
  }
  held_.assign(data, data + count);
  return 0;
}

int StreamWriter::WriteHeld() {
  const int error = WriteAll(fd_, {held_.data(), held_.size()});
  held_at_ += held_.size();
  held_.clear();
  return error;
}

}  // namespace b2drive
