#include <pthread.h>

#include <cerrno>
#include <random>
#include <thread>

#include "tests/mount/file_system_test.h"

namespace {

// Of the calling thread: it can begin no other; it dawdles behind every lock that it gives back, so
// that others come between any two steps; what it does behind one of those locks.
thread_local bool no_more_threads = false;
thread_local bool dawdles = false;
thread_local int locks_left = 0;
thread_local std::function<void()> behind_lock;

template <typename Function>
Function Real(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int pthread_create(
    pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument) {
  static const auto real = Real<decltype(&pthread_create)>("pthread_create");
  return no_more_threads ? EAGAIN : real(thread, attributes, run, argument);
}

extern "C" __attribute__((visibility("default"))) int pthread_mutex_unlock(pthread_mutex_t* mutex) {
  static const auto real = Real<decltype(&pthread_mutex_unlock)>("pthread_mutex_unlock");
  const int result = real(mutex);
  if (dawdles) usleep(static_cast<useconds_t>(random() % 32));
  if (locks_left > 0 && --locks_left == 0) behind_lock();
  return result;
}

namespace b2drive::mount {
namespace {

using testing::AnyOf, testing::Each, testing::HasSubstr, testing::MatchesRegex, testing::Not,
    testing::StartsWith;

void Together(int count, const std::function<void(int)>& program) {
  std::vector<std::thread> programs;
  for (int number = 0; number < count; ++number) {
    programs.emplace_back([&program, number] {
      dawdles = true;
      program(number);
    });
  }
  for (std::thread& thread : programs) thread.join();
}

TEST_F(FileSystemTest, ManyProgramsOnFewFilesSeeWholeContents) {
  Together(4, [this](int number) {
    std::minstd_rand random(static_cast<unsigned>(number + 1));
    const auto any = [&](unsigned below) { return std::to_string(random() % below); };
    for (int step = 0; step < 60; ++step) {
      const std::string name = any(3);
      const std::function<void()> steps[] = {
          [&] { Write(name, "by " + any(9) + "!"); },
          [&] { WriteMapped(name, "by " + any(9) + "!"); },
          [&] { Resize(name, 0); },
          [&] { Rename(name, any(3)); },
          [&] { Unlink(name); },
          [&] { Try([&] { Names(); }); },
          [&] { EXPECT_THAT(Read(name), MatchesRegex("(by .!)?|errno 2|errno 116")); }};
      steps[random() % std::size(steps)]();
    }
  });
  EXPECT_TRUE(files->Drain().empty());
  EXPECT_EQ(Shown(), Stored());
  ExpectAgreement();
}

class TwoProgramsTest : public FileSystemTest {
 protected:
  using Operation = std::function<int()>;

  // What two operations on the files "a" and "b" give and leave.
  std::string Outcome(const std::function<void(int results[2])>& run) {
    Remount();
    for (const auto& [name, text] : Stored()) Remove(name);
    for (const std::string name : {"a", "b"}) EXPECT_EQ(Write(name, name), 0);
    int results[2];
    run(results);
    EXPECT_TRUE(files->Drain().empty());
    std::string text = std::to_string(results[0]) + " " + std::to_string(results[1]);
    for (const std::string name : {"a", "b", "c"}) text += ", " + Read(name);
    EXPECT_EQ(Shown(), Stored()) << text;
    return text;
  }

  // The other one is done, as far as it need not wait, behind the `k`-th lock that the one gives
  // back. How many are left.
  std::string Between(const Operation& one, const Operation& other, int k, int& left) {
    return Outcome([&](int results[2]) {
      std::atomic<bool> done = false;
      std::thread program;
      behind_lock = [&] {
        program = std::thread([&] {
          results[1] = other();
          done = true;
        });
        for (int i = 0; i < 100 && !done; ++i) usleep(100);
      };
      locks_left = k;
      results[0] = one();
      left = std::exchange(locks_left, 0);
      program.joinable() ? program.join() : void(results[1] = other());
    });
  }

  // They give and leave what they do in some order, unless one is refused.
  void ExpectSerial(const Operation& one, const Operation& other) {
    constexpr int kMany = 1'000'000;
    const auto serially = [&](const Operation& first, const Operation& second, bool reversed) {
      return Outcome([&](int results[2]) {
        results[reversed] = first();
        results[!reversed] = second();
      });
    };
    const Operation refused = [] { return ESTALE; };
    const std::string orders[] = {serially(one, other, false), serially(other, one, true)};
    EXPECT_THAT(orders, Each(Not(HasSubstr(std::to_string(ESTALE)))));
    const auto serial =
        AnyOf(orders[0], orders[1], serially(one, refused, false), serially(refused, other, false));
    int left = 0;
    EXPECT_THAT(Between(one, other, kMany, left), serial);
    const int locks = kMany - left, step = all_ ? 1 : locks / 6 + 1;
    for (int k = 1; k <= locks; k += step) {
      EXPECT_THAT(Between(one, other, k, left), serial) << k << " of " << locks;
    }
  }

  // The first four change contents, the others names.
  const Operation operations_[8] = {
      [&] { return Write("a", "new a"); }, [&] { return WriteMapped("a", "more"); },
      [&] { return Resize("a", 1); },      [&] { return Read("a"), 0; },
      [&] { return Rename("a", "b"); },    [&] { return Rename("a", "c"); },
      [&] { return Rename("b", "a"); },    [&] { return Unlink("a"); }};
  const bool all_ = std::getenv("B2_MOUNT_TEST_LONG") != nullptr;
};

TEST_F(TwoProgramsTest, OfWhichOneUsesAFileDoWhatOneAfterTheOtherWould) {
  for (int one = 0; one < 4; ++one) {
    for (int other = 0; other < 8; ++other) {
      SCOPED_TRACE(std::to_string(one) + std::to_string(other));
      ExpectSerial(operations_[one], operations_[other]);
      if (other >= 4) ExpectSerial(operations_[other], operations_[one]);
    }
  }
}

TEST_F(FileSystemTest, AFileThatIsBeingSentCanBeLookedAtAndWritten) {
  const std::string large(5 * kPart, 'l');
  for (const std::string name : {"a", "b"}) {
    HandlePtr handle = Create(name, large);
    HandlePtr other = Open(name);
    const auto flush = [&] { files->Flush(*handle); };
    RequestsOf(flush, 2, [&] {
      EXPECT_EQ(handle->file().Stat().size, large.size());
      files->Write(*other, 0, "changed", 7);
      EXPECT_TRUE(Names().contains(name));
      EXPECT_EQ(files->Waiting().size(), 1u);
    });
    EXPECT_EQ(Versions(name), Texts{large});
    files->Flush(*other);
    Close(std::move(handle));
    Close(std::move(other));
    EXPECT_EQ(Stored()[name], "changed" + large.substr(7));
  }
  ExpectAgreement();
}

TEST_F(FileSystemTest, AThreadThatCannotBeStartedEndsOneReadAtMost) {
  const std::string text(20 * kBlock, 't');
  Put("a", text);
  no_more_threads = true;
  EXPECT_THAT(Read("a"), AnyOf(text, StartsWith("errno ")));
  no_more_threads = false;
  EXPECT_EQ(Read("a"), text);
}

}  // namespace
}  // namespace b2drive::mount
