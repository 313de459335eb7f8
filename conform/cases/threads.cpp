#include <atomic>
#include <thread>

#include "conform/cases.h"
#include "conform/drive.h"

// Calls from several threads.
namespace conform {
namespace {

constexpr int kThreads = 8;

template <class Work>
void OnThreads(int count, const Work& work) {
  std::vector<std::jthread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) threads.emplace_back([&work, i] { work(i); });
}

void UseOneObject(Drive& drive, int number) {
  const std::string name = "f" + std::to_string(number);
  const std::string bytes = Bytes(150'000, number * 1000);
  for (int round = 0; round < 3; ++round) {
    Cache cache(bytes);
    _FS_FILE_V2 file = RecordOf(name, bytes.size());
    Equal("Upload of " + name, drive.Upload(drive.service.bucket(), cache, file), SUCCESS);
    True("Read of " + name, drive.ReadAll(file.id, bytes.size()) == bytes);
    _FS_FILE_V2 record;
    Equal("GetFileInfo of " + name, drive.Info(file.id, FS_FILE, record), SUCCESS);
    Equal("size of " + name, record.size, bytes.size());
    True("names", !drive.Names(drive.service.bucket()).empty());
    drive.SetOpt("verbose", round % 2 == 0 ? "on" : "off");
  }
}

void SharesAnObject() {
  Drive drive(kSmallParts);
  OnThreads(kThreads, [&](int i) { UseOneObject(drive, i); });
  const Contents stored = drive.service.Stored();
  Equal("files", stored.size(), kThreads);
  for (int i = 0; i < kThreads; ++i) {
    True("contents", stored.at("f" + std::to_string(i)) == Bytes(150'000, i * 1000));
  }
}

void HasManyObjects() {
  Drive drive;
  OnThreads(kThreads, [&](int i) {
    for (int round = 0; round < 5; ++round) {
      const Object object = drive.Another();
      const std::string name = std::to_string(i) + "-" + std::to_string(round);
      _FS_FILE_V2 folder = RecordOf(name);
      Equal("CreateDirectory",
            object->CreateDirectory(drive.service.bucket().c_str(), &folder, nullptr), SUCCESS);
    }
  });
  Equal("folders", drive.Names(drive.service.bucket()).size(), 5 * kThreads);
}

// A host knows by the thread which of its operations a line is about.
void LogsWhereItIsCalled() {
  Drive drive;
  std::vector<std::thread::id> ids(kThreads);
  drive.log.Take();
  OnThreads(kThreads, [&](int i) {
    ids[static_cast<std::size_t>(i)] = std::this_thread::get_id();
    for (int round = 0; round < 3; ++round) drive.Names(drive.Id("folder" + std::to_string(i)));
  });
  int lines = 0;
  for (const Line& line : drive.log.Take()) {
    for (std::size_t i = 0; i < ids.size(); ++i) {
      if (line.text.find("folder" + std::to_string(i) + "]") == line.text.npos) continue;
      ++lines;
      True("line on the thread that called: " + line.text, line.thread == ids[i]);
    }
    True("line on a thread that called: " + line.text,
         std::ranges::find(ids, line.thread) != ids.end());
  }
  Equal("lines that name a folder", lines, 3 * kThreads);
}

void CancelsOne() {
  Drive drive;
  const std::string bytes = Bytes(3'000'000);
  const std::string file = drive.Put("f", bytes);
  std::atomic<bool> canceled = false;
  OnThreads(2, [&](int i) {
    const Handle handle = NewHandle();
    Fetched fetched;
    fetched.on_block = [&] {
      if (i == 0) handle->transfer->state = TRANSFER_CANCELED;
      while (i == 1 && !canceled) std::this_thread::yield();
    };
    const AERROR code = drive.Read(file, 0, 3'000'000, fetched, handle);
    Equal(i == 0 ? "the canceled one" : "the other", code, i == 0 ? READ_CANCELED : SUCCESS);
    if (i == 1) True("the other's bytes", fetched.bytes == bytes);
    canceled = true;
  });
}

// One thread waits for the service, the others go on: with many reads, since a thread that was held
// up may do a few between the end of the wait and the waiting thread's next step.
void WaitsAlone() {
  constexpr int kReads = 50;
  Drive drive;
  const std::string file = drive.Put("f", "contents");
  drive.service.Fault({{"call", "b2_list_buckets"}, {"delayMilliseconds", 6000}});
  std::atomic<bool> waits = true;
  int meanwhile = 0;
  std::jthread waiting([&] {
    drive.Names("");
    waits = false;
  });
  while (waits && meanwhile < kReads) {
    Equal("Read meanwhile", drive.ReadAll(file, 8), "contents");
    if (drive.service.Count("b2_list_buckets") > 0) ++meanwhile;
  }
  Equal("reads while another call waits", meanwhile, kReads);
}

}  // namespace

std::vector<Case> ThreadsCases() {
  return {{"threads.one_object", SharesAnObject},
          {"threads.objects", HasManyObjects},
          {"threads.lines", LogsWhereItIsCalled},
          {"threads.cancel_one", CancelsOne},
          {"threads.wait_alone", WaitsAlone}};
}

}  // namespace conform
