#pragma once

#include <chrono>

#include "tests/support/drive_test.h"
#include "tests/support/memory.h"

// Every request of an operation, disturbed in every way that a service, or what stands before it,
// can disturb one.
namespace fault_matrix {

// The bucket "bucket" holds "a" (of two versions), "c", "large" (of several parts), the empty
// folder "e" and "p/x".
inline constexpr int kPart = 100'000;
inline const std::string kLarge = [] {
  std::string text;
  for (int i = 0; text.size() < 3 * kPart; ++i) text += std::to_string(i) + " ";
  return text;
}();

// Something that a client does, and how it changes the bucket.
struct Operation {
  std::string line;  // what to do, in the client's words
  Contents added = {};
  std::string removed = "";
  std::string disturbed = "b2_";  // part of the names of the calls that are
};

// A client with a service of its own, whose parts are of kPart bytes.
class Client {
 public:
  virtual ~Client() = default;
  virtual emulator::Emulator& Service() = 0;
  // Does it, or gives up when told to after kPatience. Whether it succeeded.
  virtual bool Perform(std::size_t operation) = 0;
  // The trouble is over.
  virtual void Recover() {}
  // Whether it comes through any trouble that passes, and stores nothing twice.
  virtual bool IsPatient() const { return false; }
};
// Sanitizers take their time.
inline constexpr std::chrono::seconds kPatience{kMemoryIsMeasurable ? 3 : 8},
    kStop{kMemoryIsMeasurable ? 2 : 6};

// Performs each operation once for each disturbance, with a new client and in many processes at a
// time. B2_MOUNT_TEST_LONG: also where only patience ends it. What must hold:
// - All is as before or as after the operation, or what it removes is there still beside what it
//   adds. If it succeeded it is as after.
// - No secret goes in clear or elsewhere.
// - No call is made ten times a second more than without the disturbance.
// - Not every attempt leaves an unfinished large file.
// Prints how many rows violated that or a client's expectations. No other thread may run.
void Run(const std::vector<Operation>& operations,
         const std::function<std::unique_ptr<Client>()>& make_client);

}  // namespace fault_matrix
