#include <tuple>

#include "conform/cases.h"
#include "conform/drive.h"

// Read: which bytes arrive, how, and when it ends.
namespace conform {
namespace {

constexpr char kDownload[] = "b2_download_file_by_id";
constexpr int kBlock = 512 * 1024;  // bytes, the largest

void ReadsRanges() {
  Drive drive;
  const std::string bytes = Bytes(2'000'000);
  const std::string file = drive.Put("f", bytes);
  for (const auto& [offset, length] : {std::pair{0, 2'000'000},
                                       {3, kBlock},
                                       {3, 2 * kBlock},
                                       {100, 50},
                                       {1'999'999, 1},
                                       {1'999'990, 100}}) {
    Fetched fetched;
    const std::string what = std::to_string(length) + " bytes from " + std::to_string(offset);
    drive.service.Forget();
    Equal("Read " + what, drive.Read(file, offset, length, fetched), SUCCESS);
    True("the bytes of " + what, fetched.bytes == bytes.substr(static_cast<std::size_t>(offset),
                                                               static_cast<std::size_t>(length)));
    Equal("the first block's offset, " + what, fetched.first_offset, offset);
    Equal("gaps, " + what, fetched.gaps, 0);
    True("blocks of at most 512 KiB, " + what, fetched.largest <= kBlock);
    Equal("flags other than 0, " + what, fetched.odd_flags, 0);
    Equal("calls from other threads, " + what, fetched.foreign_calls, 0);
    const std::string end = std::to_string(offset + length - 1);
    Equal("range asked for", Header(drive.service.Requests().at(0), "Range"),
          "bytes=" + std::to_string(offset) + "-" + end);
  }
}

// A terabyte cannot be stored here, but asked for.
void AsksBeyondFourGigabytes() {
  Drive drive;
  const std::string file = drive.Put("f", "1");
  constexpr long long kOffset = (1LL << 40) + 77;
  Fetched fetched;
  Equal("Read", drive.Read(file, kOffset, 100, fetched), FAILED);
  Equal("range asked for", Header(drive.service.Requests().back(), "Range"),
        "bytes=1099511627853-1099511627952");
}

void RefusesOddArguments() {
  Drive drive;
  Fetched fetched;
  drive.service.Forget();
  Equal("no identifier", drive.object->Read(nullptr, 0, 1, NewHandle(), &fetched, nullptr),
        FILE_READ_FAILED);
  Equal("the root", drive.Read("", 0, 1, fetched), FAILED);
  Equal("no sink", drive.object->Read("b/f", 0, 1, NewHandle(), nullptr, nullptr), FAILED);
  Equal("requests of those", drive.service.Count(kDownload), 0);
  Equal("no such file", drive.Read(drive.Id("4_z_none"), 0, 1, fetched), FAILED);
  Equal("odd characters", drive.Read(drive.Id("no such\r\nfile"), 0, 1, fetched), FAILED);
  Equal("bytes of those", fetched.bytes, "");
}

void DeliversNoError() {
  Drive drive;
  const std::string file = drive.Put("f", "0123456789");
  for (const int status : {400, 401, 403, 404, 416, 500, 503}) {
    drive.service.Fault({{"call", kDownload}, {"status", status}, {"body", "error"}});
    Fetched fetched;
    const std::string what = "answered with " + std::to_string(status);
    Equal(what, drive.Read(file, 0, 5, fetched), FAILED);
    Equal("bytes, " + what, fetched.bytes, "");
    True("is logged, " + what,
         drive.log.Has(LOGLEVEL_ERROR, "[PROTOCOL  ] Read >> HTTP " + std::to_string(status)));
  }
  drive.service.Fault({{"call", kDownload}, {"cutAfter", 3}});
  Fetched cut;
  Equal("cut off", drive.Read(file, 0, 10, cut), FAILED);
  Equal("beyond the end", drive.Read(file, 10, 5, cut), FAILED);
  drive.service.Fault({{"call", kDownload}, {"status", 429}, {"body", "wait, please"}});
  Equal("the file, answered with 429 once", drive.ReadAll(file, 10), "0123456789");
}

void LeavesResultsToTheHost() {
  Drive drive;
  const std::string bytes = Bytes(3UL * kBlock);
  const std::string file = drive.Put("f", bytes);
  for (const int answer : {1, -1, 300'000}) {
    Fetched fetched;
    fetched.answer = static_cast<AERROR>(answer);
    Equal("a sink that answers " + std::to_string(answer),
          drive.Read(file, 0, 3LL * kBlock, fetched), SUCCESS);
    True("gets all", fetched.bytes == bytes);
  }
  Fetched throwing;
  throwing.on_block = [] { throw std::runtime_error("disk"); };
  Equal("a sink that throws", drive.Read(file, 0, 3LL * kBlock, throwing), READ_CANCELED);
}

void EndsWhenCanceled() {
  Drive drive;
  const std::string file = drive.Put("f", Bytes(16UL * kBlock));
  for (const int state : {int{TRANSFER_CANCELED}, int{TRANSFER_FAILED}, 9}) {
    const Handle handle = NewHandle();
    Fetched fetched;
    fetched.on_block = [&] { handle->transfer->state = state; };
    Equal("given up by state " + std::to_string(state),
          drive.Read(file, 0, 16LL * kBlock, fetched, handle), READ_CANCELED);
    True("soon after", fetched.blocks <= 2);
    drive.service.Forget();
    Equal("once more", drive.Read(file, 0, 1, fetched, handle), READ_CANCELED);
    Equal("requests of that", drive.service.Count(kDownload), 0);
  }
  for (const int state : {int{TRANSFER_IDLE}, int{TRANSFER_RUNNING}, int{TRANSFER_DONE}}) {
    const Handle handle = NewHandle();
    handle->transfer->state = state;
    Fetched fetched;
    Equal("state " + std::to_string(state), drive.Read(file, 0, 10, fetched, handle), SUCCESS);
  }
  Fetched fetched;
  Equal("without a handle", drive.Read(file, 0, 10, fetched, nullptr), SUCCESS);
}

}  // namespace

std::vector<Case> ReadingCases() {
  return {{"reading.ranges", ReadsRanges},
          {"reading.far_offsets", AsksBeyondFourGigabytes},
          {"reading.arguments", RefusesOddArguments},
          {"reading.errors", DeliversNoError},
          {"reading.sink", LeavesResultsToTheHost},
          {"reading.canceled", EndsWhenCanceled}};
}

}  // namespace conform
