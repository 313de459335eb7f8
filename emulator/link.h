#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string_view>

#include "emulator/lane.h"
#include "emulator/link_settings.h"

namespace emulator {

// A client's socket as if its other end were far away. The thread that uses the link also moves its
// bytes, in both directions, whenever it waits here. Every wait ends when the connection is broken
// or, by any thread, the socket is shut down; then nothing that is still on its way arrives.
class Link {
 public:
  using Time = Lane::Time;

  // Does not own the socket. The connection is there from `opens` on, at the client's end.
  Link(const LinkSettings& link, int socket, Time opens);

  // The first byte that has not been read; 0 at the end.
  char Peek();
  // Up to `size` bytes; 0 at the end.
  size_t Read(char* data, size_t size);
  // Returns false when the connection is broken.
  bool Write(std::string_view bytes);
  // Until the client has all that was written; gives up once it has taken nothing for `patience`.
  void Drain(std::chrono::milliseconds patience);
  // Until the client has all that was written or has itself sent something.
  void Settle();
  // Until then, or until the client is known to have ended its direction.
  void WaitForEnd(Time until);

 private:
  // What is known of bytes that the client may have sent.
  enum class Incoming { kPerhaps, kNone, kEnded };

  // False at the end.
  bool AwaitBytes();
  // Moves what can be moved now; if that is nothing, waits until then at most.
  void Step(Time until);
  // Return whether they have moved bytes.
  bool Receive(Time now);
  bool Send(Time now);
  void Wait(Time until);
  bool CanReceive() { return !in_.Space().empty(); }

  const int socket_;
  const std::chrono::nanoseconds half_;
  Lane in_, out_;
  Incoming incoming_ = Incoming::kPerhaps;
  Time came_;                    // the bytes that wait in the socket came no earlier
  Time ends_ = Lane::kNever;     // when the client's end is known here
  std::optional<Time> blocked_;  // since then the client takes nothing
  bool broken_ = false;
};

}  // namespace emulator
