#include "http/transfer_callbacks.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <stdexcept>

#include "tests/support/host_fakes.h"

namespace {

UploadState Range(MemoryCache& cache, long long start, long long length) {
  return {&cache, NewHandle(), start, length, start};
}

std::size_t ReadAtMost(std::size_t room, UploadState& state, std::string* bytes = nullptr) {
  std::string data(room, '\0');
  const std::size_t read = read_callback_cache_func(data.data(), 1, room, &state);
  if (bytes != nullptr && read <= room) *bytes += data.substr(0, read);
  return read;
}

}  // namespace

TEST(TransferCallbacksTest, BufferReaderStopsAtTheEndAndSeeks) {
  BufferCursor cursor{"abcdef", 0, 6};
  char data[4];
  EXPECT_EQ(read_callback_buf_func(data, 1, 0, &cursor), 0U);
  for (const std::size_t read : {4U, 2U, 0U}) {
    EXPECT_EQ(read_callback_buf_func(data, 2, 2, &cursor), read);
  }
  const std::tuple<int, curl_off_t, long long> rows[] = {
      {SEEK_SET, 2, 2}, {SEEK_CUR, 1, 3}, {SEEK_END, -1, 5}, {99, 4, 5}};
  for (const auto& [origin, offset, position] : rows) {
    EXPECT_EQ(read_callback_buf_seek_func(&cursor, offset, origin), CURL_SEEKFUNC_OK);
    EXPECT_EQ(cursor.position, position);
  }
  EXPECT_EQ(read_callback_buf_seek_func(nullptr, 0, SEEK_SET), CURL_SEEKFUNC_FAIL);
  cursor.position = -3;
  EXPECT_EQ(read_callback_buf_func(data, 1, 4, &cursor), 0U);
}

TEST(TransferCallbacksTest, CacheReaderStaysInItsRangeAndCanStartAgain) {
  MemoryCache cache("0123456789");
  UploadState state = Range(cache, 2, 5);
  std::string bytes;
  while (ReadAtMost(3, state, &bytes) > 0) {
  }
  EXPECT_EQ(state.handle->transfer->offset.load(), 7);
  EXPECT_EQ(read_callback_cache_seek_func(&state, 1, SEEK_SET), CURL_SEEKFUNC_OK);
  EXPECT_EQ(ReadAtMost(9, state, &bytes), 4U);
  EXPECT_EQ(bytes, "234563456");
  EXPECT_EQ(read_callback_cache_seek_func(&state, 6, SEEK_SET), CURL_SEEKFUNC_FAIL);
  EXPECT_EQ(read_callback_cache_seek_func(&state, 0, SEEK_END), CURL_SEEKFUNC_FAIL);
}

TEST(TransferCallbacksTest, CacheReaderAbortsOnExceptionsAndShortFiles) {
  MemoryCache cache("0123456789");
  UploadState state = Range(cache, 0, 10);
  cache.on_read = [](long long) { throw std::runtime_error("disk"); };
  EXPECT_EQ(ReadAtMost(4, state), std::size_t{CURL_READFUNC_ABORT});
  cache.on_read = nullptr;
  cache.bytes.clear();  // shorter than announced
  EXPECT_EQ(ReadAtMost(4, state), std::size_t{CURL_READFUNC_ABORT});
}

TEST(TransferCallbacksTest, ProgressShowsTheTransfersDirectionOrNothing) {
  long long seen = 0;
  const auto note = [](long long, long long now, void* context, double) {
    *static_cast<long long*>(context) = now;
  };
  ProgressBinding binding{note, &seen, nullptr};
  EXPECT_EQ(_CURL_PROGRESS(&binding, 1, 2, 3, 4), 0);
  EXPECT_EQ(seen, 4);
  EXPECT_EQ(_CURL_PROGRESS_DOWNLOAD(&binding, 7, 6, 3, 4), 0);
  EXPECT_EQ(seen, 6);
  ProgressBinding unbound;
  EXPECT_EQ(_CURL_PROGRESS(&unbound, 1, 2, 3, 4), 0);
}
