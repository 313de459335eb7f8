// One connection to the emulator: whatever a client sends before it closes, the connection ends.

#include <sys/socket.h>
#include <sys/time.h>

#include "emulator/connection.h"
#include "emulator/seeding.h"
#include "tests/fuzz/input.h"

// What a client would know by now is written $TOKEN and so on.
void fuzz::Run(Input& input) {
  emulator::Core core({.account_id = "0123456789ab",
                       .key = "key",
                       .ca_file = fuzz::Folder() / "ca",
                       .ca_key_file = fuzz::Folder() / "key",
                       .absolute_minimum_part_size = 2},
                      nullptr, nullptr);
  const auto key = core.access.Login("Basic MDEyMzQ1Njc4OWFiOmtleQ==");
  const auto file = emulator::AddText(core.store, "bucket", "a/b", "contents");
  const auto large = core.store.StartLarge(*file->bucket_id, {.name = "large"});
  const auto upload = core.access.IssueUpload(*file->bucket_id, key);
  const auto part = core.access.IssueUpload(large->Id(), key);
  std::string text = input.Rest();
  for (const auto& [name, value] :
       {std::pair<std::string, std::string>{"$TOKEN", core.access.IssueAccountToken(key)},
        {"$BUCKET", *file->bucket_id},
        {"$FILE", file->Id()},
        {"$LARGE", large->Id()},
        {"$UPLOAD_TOKEN", upload->token},
        {"$UPLOAD", upload->path},
        {"$PART_TOKEN", part->token},
        {"$PART", part->path}}) {
    for (std::size_t at = 0; (at = text.find(name, at)) != text.npos; at += value.size()) {
      text.replace(at, name.size(), value);
    }
  }

  int ends[2];
  fuzz::Must(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "a socket pair");
  // Nobody takes an answer that is longer than the socket holds.
  const timeval at_once{0, 1};
  setsockopt(ends[0], SOL_SOCKET, SO_SNDTIMEO, &at_once, sizeof at_once);
  fuzz::Must(send(ends[1], text.data(), text.size(), MSG_DONTWAIT) >= 0 || text.empty(), "a send");
  shutdown(ends[1], SHUT_WR);
  {
    emulator::Stream stream(ends[0]);
    emulator::ServeConnection(core, stream);
  }
  close(ends[1]);
}
