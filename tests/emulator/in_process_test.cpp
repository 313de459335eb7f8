#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "emulator/emulator.h"

static std::atomic<bool> no_threads = false;  // none can be started

extern "C" __attribute__((visibility("default"))) int pthread_create(
    pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument) {
  static const auto real =
      reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return no_threads ? EAGAIN : real(thread, attributes, run, argument);
}

namespace emulator {
namespace {

bool Ask(const Emulator& emulator) {
  const std::string proxy = "127.0.0.1:" + std::to_string(emulator.port());
  return std::system(
             ("curl -skx " + proxy + " https://api.backblazeb2.com/x >/dev/null").c_str()) == 0;
}

TEST(InProcessTest, ConnectionsWithoutAThreadAreClosed) {
  const Emulator emulator;
  no_threads = true;
  EXPECT_FALSE(Ask(emulator));
  no_threads = false;
  EXPECT_TRUE(Ask(emulator));
}

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
