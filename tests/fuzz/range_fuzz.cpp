// A range of a file arrives in any way that HTTP knows, and is asked for again from the byte
// reached, as the mount does. Whoever reads the cached version sees the file's bytes, or none.

#include <cerrno>

#include "host/drive.h"
#include "host/errors.h"
#include "host/mount/block_cache.h"
#include "tests/fuzz/wire.h"

namespace {

using namespace b2drive;
using namespace b2drive::mount;

constexpr std::uint64_t kFileSize = kBlock + 5000;  // bytes

std::string Bytes(std::uint64_t offset, std::uint64_t count) {
  std::string bytes(count, '\0');
  for (char& byte : bytes) byte = static_cast<char>(offset++ % 251);
  return bytes;
}

class CacheSink final : public FetchSink {
 public:
  CacheSink(CachedVersion& cached, Fetch& fetch, _FS_TRANSFER& transfer)
      : FetchSink(-1, 0, transfer), cached_(cached), fetch_(fetch), start_(fetch.reached) {}

 protected:
  int Accept(long long at, const char* data, std::size_t count) override {
    const std::uint64_t offset = start_ + static_cast<std::uint64_t>(at);
    fuzz::Must(offset + count <= fetch_.end, "no bytes behind the range");
    fuzz::Must(Bytes(offset, count) == std::string_view(data, count), "the file's bytes");
    const int error = cached_.Store(data, count, offset);
    cached_.Advance(fetch_, offset + count);
    return error;
  }

 private:
  CachedVersion& cached_;
  Fetch& fetch_;
  const std::uint64_t start_;
};

// "STATUS START COUNT LENGTH CUT HEADER": that Content-Range, if any; so many bytes from there on
// if the status is one of success, else noise; "chunked", "right", or that length; the last CUT
// bytes lost.
std::string AnswerFor(fuzz::Input words) {
  const std::string status = words.Word();
  const std::string start = words.Word();
  const std::uint64_t count = words.Number(kFileSize + 9);
  const std::string length = words.Word();
  const std::uint64_t cut = words.Number(9);
  const std::string header = words.Rest();
  const bool told = status == "206" && start.find_first_not_of("0123456789") == start.npos;
  std::string body = Bytes(told ? fuzz::Input(start).Number(kFileSize) : 0, count);
  if (status != "200" && !told) std::ranges::fill(body, '\xff');

  std::string answer = "HTTP/1.1 " + status + " x\r\n";
  if (header.find("Range") == header.npos) answer += header + "\r\n";
  if (!start.empty()) answer += "Content-Range: bytes " + start + "-9/9\r\n";
  if (length == "chunked") {
    char size[24];
    std::snprintf(size, sizeof size, "%zx\r\n", body.size());
    answer += "Transfer-Encoding: chunked\r\n\r\n" + (size + body) + "\r\n0\r\n\r\n";
  } else {
    if (!length.empty()) answer += "Content-Length: ";
    answer += length == "right" ? std::to_string(body.size()) : length;
    answer += "\r\n\r\n" + body;
  }
  return answer.substr(0, answer.size() - std::min<std::size_t>(answer.size(), cut));
}

}  // namespace

// "OFFSET COUNT", then a line for each answer.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::Folder folder;
  static BlockCache blocks(SystemDisk(), folder.path / "blocks", kFileSize, 2);
  fuzz::Input input(data, size);
  fuzz::Input first(input.Line());
  BackBlazeB2 protocol("", nullptr);
  protocol.SetOpt("strict_answers", "true");
  Drive drive(protocol);
  Transfers transfers;
  blocks.Forget("id");
  const auto cached = blocks.Open("id", kFileSize);
  const std::uint64_t offset = first.Number(kFileSize);
  const FetchPtr fetch = cached->Claim(offset, offset + 1 + first.Number(kFileSize));
  bool done = false;
  while (!done && !input.AtEnd()) {
    const std::string answer = AnswerFor(fuzz::Input(input.Line()));
    fuzz::ScriptedRequest::AnswerWith(
        [&](const fuzz::Transfer& transfer) { return SendOver(transfer, answer); });
    try {
      const ActiveTransfer active(transfers, "file");
      CacheSink sink(*cached, *fetch, active.state());
      drive.Read({"file", "bucket/file", false, kFileSize, ""}, "file", fetch->reached,
                 fetch->end - fetch->reached, sink, active);
      done = true;
    } catch (const HostError&) {
    }
    std::string shown(kFileSize, '\0');
    shown.resize(cached->Read(fetch->begin, shown.data(), shown.size()).copied);
    fuzz::Must(shown == Bytes(fetch->begin, shown.size()), "what a program sees");
  }
  fuzz::Must(!done || fetch->reached == fetch->end, "all of a range that was read");
  cached->End(fetch, done ? 0 : EIO);
  return 0;
}
