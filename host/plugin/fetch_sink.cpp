#include "host/plugin/fetch_sink.h"

namespace b2drive {

bool FetchSink::AwaitTurn(std::size_t count) const {
  while (count > 0) {
    const std::size_t granted = transfer_.AwaitTurn(count);
    if (granted == 0) return false;
    count -= granted;
  }
  return true;
}

AERROR FetchSink::OnFetched(long long offset, const void* data, int count, int) {
  if (!AwaitTurn(static_cast<std::size_t>(count))) return AERROR::CANCEL;
  long long at = offset - start_;
  int error = Accept(at, static_cast<const char*>(data), static_cast<std::size_t>(count));
  if (error != 0) {
    error_number_ = error;
    transfer_.state().state = TRANSFER_FAILED;
    return AERROR::FILE_WRITE_FAILED;
  }
  received_ = at + count;
  transfer_.state().offset = received_;
  return AERROR::SUCCESS;
}

}  // namespace b2drive
