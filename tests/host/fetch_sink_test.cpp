#include "host/fetch_sink.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "host/unique_fd.h"

namespace b2drive {
namespace {

// A pipe whose reading end gives what was written once the writing end is
// closed.
class StreamSinkTest : public testing::Test {
 protected:
  StreamSinkTest() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    reader_ = UniqueFd(ends[0]);
    writer_ = UniqueFd(ends[1]);
  }

  AERROR Fetch(StreamSink& sink, long long offset, const std::string& text) {
    return sink.OnFetched(offset, text.data(), static_cast<int>(text.size()), 0);
  }

  std::string Written() {
    writer_ = UniqueFd();
    std::array<char, 100> text{};
    ssize_t count = read(reader_.get(), text.data(), text.size());
    return {text.data(), static_cast<std::size_t>(count)};
  }

  UniqueFd reader_;
  UniqueFd writer_;
  _FS_TRANSFER transfer_;
};

TEST_F(StreamSinkTest, ARepeatedStartReplacesWhatCameFirst) {
  StreamSink sink(writer_.get(), 10, transfer_);
  Fetch(sink, 10, "{\"status\":429}");
  EXPECT_EQ(Fetch(sink, 10, "abc"), SUCCESS);
  EXPECT_EQ(Fetch(sink, 13, "de"), SUCCESS);
  sink.Finish();
  EXPECT_EQ(sink.received(), 5);
  EXPECT_EQ(transfer_.offset, 5);
  EXPECT_EQ(Written(), "abcde");
}

TEST_F(StreamSinkTest, GivesUpWhereItCouldOnlyWriteWrongBytes) {
  StreamSink gap(writer_.get(), 0, transfer_);
  Fetch(gap, 0, "abc");
  EXPECT_NE(Fetch(gap, 5, "x"), SUCCESS);
  EXPECT_EQ(transfer_.state, TRANSFER_FAILED);
  StreamSink late(writer_.get(), 0, transfer_);
  Fetch(late, 0, "abc");
  Fetch(late, 3, "def");
  EXPECT_NE(Fetch(late, 0, "abc"), SUCCESS);
}

}  // namespace
}  // namespace b2drive
