#include "host/plugin/fetch_sink.h"

namespace b2drive {

AERROR FetchSink::OnFetched(long long offset, const void* data, int count, int) {
  long long at = offset - start_;
  int error = Accept(at, static_cast<const char*>(data), static_cast<std::size_t>(count));
  if (error != 0) {
    error_number_ = error;
    transfer_.state = TRANSFER_FAILED;
    return AERROR::FILE_WRITE_FAILED;
  }
  received_ = at + count;
  transfer_.offset = received_;
  return AERROR::SUCCESS;
}

}  // namespace b2drive
