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
  const long long at = offset - start_;
  // From the start on and without gaps; what is repeated comes again at a place that was there
  // before.
  const bool in_place = count >= 0 && at >= 0 && at <= received_;
  if (in_place && !AwaitTurn(static_cast<std::size_t>(count))) return AERROR::CANCEL;
  const int error =
      in_place ? Accept(at, static_cast<const char*>(data), static_cast<std::size_t>(count))
               : kMisplaced;
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
