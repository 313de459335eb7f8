#include "http/transfer_callbacks.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <stdexcept>
#include <vector>

#include "tests/support/host_fakes.h"

namespace {

struct Progress {
  long long total = 0, now = 0;
  static void Note(long long total, long long now, void* context, double) {
    *static_cast<Progress*>(context) = {total, now};
  }
};

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
  EXPECT_EQ(read_callback_buf_func(data, 2, 2, &cursor), 4U);
  EXPECT_EQ(read_callback_buf_func(data, 1, 4, &cursor), 2U);
  EXPECT_EQ(read_callback_buf_func(data, 1, 4, &cursor), 0U);

  struct Row {
    int origin;
    curl_off_t offset;
    long long position;
  };
  for (const Row& row : {Row{SEEK_SET, 2, 2}, {SEEK_CUR, 1, 3}, {SEEK_END, -1, 5}, {99, 4, 5}}) {
    EXPECT_EQ(read_callback_buf_seek_func(&cursor, row.offset, row.origin), CURL_SEEKFUNC_OK);
    EXPECT_EQ(cursor.position, row.position);
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
  EXPECT_EQ(bytes, "23456");
  EXPECT_EQ(state.handle->transfer->offset.load(), 7);
  EXPECT_EQ(read_callback_cache_seek_func(&state, 1, SEEK_SET), CURL_SEEKFUNC_OK);
  EXPECT_EQ(ReadAtMost(9, state, &bytes), 4U);
  EXPECT_EQ(bytes, "234563456");
  EXPECT_EQ(read_callback_cache_seek_func(&state, 6, SEEK_SET), CURL_SEEKFUNC_FAIL);
  EXPECT_EQ(read_callback_cache_seek_func(&state, 0, SEEK_END), CURL_SEEKFUNC_FAIL);
}

TEST(TransferCallbacksTest, CacheReaderAbortsOnCancellationAndFailure) {
  MemoryCache cache("0123456789");
  UploadState state = Range(cache, 0, 10);
  cache.fails = true;
  EXPECT_EQ(ReadAtMost(4, state), std::size_t{CURL_READFUNC_ABORT});
  cache.fails = false;
  cache.on_read = [](long long) { throw std::runtime_error("disk"); };
  EXPECT_EQ(ReadAtMost(4, state), std::size_t{CURL_READFUNC_ABORT});
  cache.on_read = nullptr;
  cache.bytes.clear();  // shorter than announced
  EXPECT_EQ(ReadAtMost(4, state), std::size_t{CURL_READFUNC_ABORT});
  state.handle->transfer->state = TRANSFER_FAILED;
  EXPECT_EQ(ReadAtMost(4, state), std::size_t{CURL_READFUNC_ABORT});
}

TEST(TransferCallbacksTest, UploadProgressAddsUpOverTransfers) {
  Progress seen;
  UploadProgress progress{{&Progress::Note, &seen, nullptr}, 100, 0, 40};
  _CURL_PROGRESS_B2(&progress, 0, 0, 60, 10);
  _CURL_PROGRESS_B2(&progress, 0, 0, 60, 25);
  EXPECT_EQ(seen.now, 65);
  EXPECT_EQ(seen.total, 100);

  ProgressBinding binding{&Progress::Note, &seen, nullptr};
  EXPECT_EQ(_CURL_PROGRESS(&binding, 1, 2, 3, 4), 0);
  EXPECT_EQ(seen.now, 4);
  EXPECT_EQ(_CURL_PROGRESS_DOWNLOAD(&binding, 7, 6, 3, 4), 0);
  EXPECT_EQ(seen.now, 6);
  ProgressBinding unbound;
  EXPECT_EQ(_CURL_PROGRESS(&unbound, 1, 2, 3, 4), 0);
}
