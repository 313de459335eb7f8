#pragma once

#include <cerrno>

#include "host/plugin/transfers.h"
#include "protocol/host_interfaces.h"

namespace b2drive {

// Receives the bytes of one Read as fast as the limit lets it, and counts them in the transfer's
// offset. When it cannot write it fails the transfer and keeps the reason.
class FetchSink : public IFetchCallback {
 public:
  virtual ~FetchSink() = default;

  AERROR OnFetched(long long offset, const void* data, int count, int flags) final;

  // Of bytes that are of no place that they can be of.
  static constexpr int kMisplaced = EPROTO;

  int error_number() const { return error_number_; }  // 0: none
  long long received() const { return received_; }    // bytes, counted from the start

 protected:
  // `start` is the first offset that will be asked for.
  FetchSink(long long start, const ActiveTransfer& transfer) : start_(start), transfer_(transfer) {}

  // Takes bytes that stand `at` bytes after the start; 0 or an errno, kMisplaced for bytes that
  // were not asked for.
  virtual int Accept(long long at, const char* data, std::size_t count) = 0;

 private:
  bool AwaitTurn(std::size_t count) const;

  long long start_;
  const ActiveTransfer& transfer_;
  long long received_ = 0;
  int error_number_ = 0;
};

}  // namespace b2drive
