#include "host/plugin/fetch_sink.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

namespace b2drive {
namespace {

TEST(StreamSink, ReplacesARepeatedStartAndGivesUpWhereItCouldOnlyWriteWrongBytes) {
  struct Row {
    std::vector<std::pair<long long, std::string>> fetched;  // at offsets
    AERROR last;
    std::string written;
  };
  for (const Row& row :
       std::vector<Row>{{{{10, "{\"status\":429}"}, {10, "abc"}, {13, "de"}}, SUCCESS, "abcde"},
                        {{{10, "abc"}, {15, "x"}}, FILE_WRITE_FAILED, "abc"},
                        {{{10, "abc"}, {13, "def"}, {10, "abc"}}, FILE_WRITE_FAILED, "abcdef"}}) {
    const std::unique_ptr<FILE, decltype(&fclose)> file(tmpfile(), fclose);
    _FS_TRANSFER transfer;
    StreamSink sink(fileno(file.get()), 10, transfer);
    AERROR last = SUCCESS;
    for (const auto& [offset, text] : row.fetched) {
      last = sink.OnFetched(offset, text.data(), static_cast<int>(text.size()), 0);
    }
    sink.Finish();
    std::string written(100, ' ');
    rewind(file.get());
    written.resize(fread(written.data(), 1, written.size(), file.get()));
    EXPECT_EQ(last, row.last) << row.written;
    EXPECT_EQ(transfer.state == TRANSFER_FAILED, last != SUCCESS) << row.written;
    EXPECT_EQ(written, row.written);
  }
}

}  // namespace
}  // namespace b2drive
