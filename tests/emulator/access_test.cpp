#include "emulator/access.h"

#include <gtest/gtest.h>

namespace emulator {
namespace {

TEST(AccessTest, OneUploadAtATimePerUrl) {
  Access access("0123456789ab", "key", std::chrono::hours(1));
  const auto ticket = access.IssueUpload("target", access.Login("Basic MDEyMzQ1Njc4OWFiOmtleQ=="));
  {
    const UploadPass first = access.BeginUpload(ticket->token, ticket->path);
    EXPECT_THROW(access.BeginUpload(ticket->token, ticket->path), std::runtime_error);
  }
  EXPECT_EQ(access.BeginUpload(ticket->token, ticket->path).target(), "target");
}

}  // namespace
}  // namespace emulator
