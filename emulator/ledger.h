#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "emulator/access_key.h"
#include "emulator/content_sink.h"
#include "emulator/state.h"

namespace emulator {

// What the store and the keys tell of each change, under their locks and before it takes effect.
// One that cannot be kept throws, and the change is refused. This one keeps nothing: all is in
// memory and goes with the process. Safe for concurrent use.
class Ledger {
 public:
  Ledger() = default;
  Ledger(const Ledger&) = delete;
  Ledger& operator=(const Ledger&) = delete;
  virtual ~Ledger() = default;

  // Each adds what is told, or replaces what has the same ID or number. A file that is not
  // unfinished any more has no parts.
  virtual void Put(const Bucket&) {}
  virtual void Put(const Version&) {}
  virtual void Put(const Version& /*unfinished*/, const Part&) {}
  virtual void Put(const Key&) {}

  virtual void ForgetBucket(const std::string& /*id*/) {}
  // With its parts. `next_sequence` is that of the version made next.
  virtual void Forget(const Version&, uint64_t /*next_sequence*/) {}
  virtual void ForgetKey(const std::string& /*id*/) {}

  // All buckets, versions and parts are these from now on; or all keys.
  virtual void Replace(const State&) {}
  virtual void Replace(const std::vector<KeyPtr>&) {}

  // Runs `act` unless it has been run to its end before, `what` being its name. When it returns
  // false nothing of what it has told is kept, and neither is its name. Only while nobody else
  // tells anything. Returns whether it is done.
  virtual bool Once(const std::string& /*what*/, const std::function<bool()>& act) { return act(); }

  // Whether contents are elsewhere than in memory.
  virtual bool KeepsContents() const { return false; }
  // Takes the bytes of an upload of that size.
  virtual std::unique_ptr<ContentSink> NewContent(uint64_t /*size*/) {
    return std::make_unique<MemorySink>();
  }
  // The same bytes where those of uploads are.
  virtual ContentPtr Adopt(ContentPtr content) { return content; }
};

}  // namespace emulator
