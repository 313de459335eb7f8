#include "http/transfer_callbacks.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/host_fakes.h"

TEST(TransferCallbacksTest, CacheReaderStaysInItsRangeStartsAgainAndAbortsOnTrouble) {
  MemoryCache cache("0123456789");
  UploadState state{&cache, NewHandle(), 2, 5, 2};
  char data[9];
  const auto read = [&](std::size_t room) {
    return read_callback_cache_func(data, 1, room, &state);
  };
  for (const std::size_t count : {3U, 2U, 0U}) EXPECT_EQ(read(3), count);
  EXPECT_EQ(read_callback_cache_seek_func(&state, 6, SEEK_SET), CURL_SEEKFUNC_FAIL);
  EXPECT_EQ(read_callback_cache_seek_func(&state, 0, SEEK_END), CURL_SEEKFUNC_FAIL);
  EXPECT_EQ(read_callback_cache_seek_func(&state, 1, SEEK_SET), CURL_SEEKFUNC_OK);
  EXPECT_EQ(std::string(data, read(9)), "3456");
  EXPECT_EQ(read_callback_cache_seek_func(&state, 0, SEEK_SET), CURL_SEEKFUNC_OK);
  cache.on_read = [](long long) { throw std::runtime_error("disk"); };
  EXPECT_EQ(read(4), std::size_t{CURL_READFUNC_ABORT});
  cache.on_read = nullptr;
  cache.bytes = "01";  // shorter than announced
  EXPECT_EQ(read(4), std::size_t{CURL_READFUNC_ABORT});
}
