// A range of a file arrives in any way that HTTP knows, and is asked for again from the byte
// reached: the host gets the file's bytes, or none.

#include "host/common/errors.h"
#include "host/plugin/drive.h"
#include "tests/fuzz/wire.h"

namespace {

using namespace b2drive;

constexpr std::uint64_t kFileSize = 136'072;  // bytes

std::string Bytes(std::uint64_t offset, std::uint64_t count) {
  std::string bytes(count, '\0');
  for (char& byte : bytes) byte = static_cast<char>(offset++ % 251);
  return bytes;
}

class Checked final : public FetchSink {
 public:
  Checked(std::uint64_t start, std::uint64_t count, const ActiveTransfer& transfer)
      : FetchSink(static_cast<long long>(start), transfer), expected_(Bytes(start, count)) {}

 protected:
  int Accept(long long at, const char* data, std::size_t count) override {
    const auto offset = static_cast<std::size_t>(at);
    fuzz::Must(offset + count <= expected_.size(), "no bytes behind the range");
    fuzz::Must(expected_.compare(offset, count, data, count) == 0, "the file's bytes");
    return 0;
  }

 private:
  const std::string expected_;
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
void fuzz::Run(Input& input) {
  fuzz::Input first(input.Line());
  BackBlazeB2 protocol("", nullptr);
  protocol.SetOpt("strict_answers", "true");
  Drive drive(protocol, b2drive::View::kFiles);
  Transfers transfers;
  const Entry file{"file", "bucket/file", false, kFileSize, {}};
  std::uint64_t reached = first.Number(kFileSize);
  const std::uint64_t end = reached + 1 + first.Number(kFileSize - reached);
  while (reached < end && !input.AtEnd()) {
    const std::string answer = AnswerFor(fuzz::Input(input.Line()));
    fuzz::ScriptedRequest::AnswerWith(
        [&](const fuzz::Transfer& transfer) { return SendOver(transfer, answer); });
    const ActiveTransfer active(transfers, "file");
    Checked sink(reached, end - reached, active);
    bool read = true;
    try {
      drive.Read(file, "file", reached, end - reached, sink, active);
    } catch (const HostError&) {
      read = false;
    }
    reached += static_cast<std::uint64_t>(sink.received());
    fuzz::Must(!read || reached == end, "all of a range that was read");
  }
}
