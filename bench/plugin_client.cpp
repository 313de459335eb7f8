// Runs one job through the library as a host does: loaded at run time, trivial sinks. `compare`
// runs it, from a folder that has the CA bundle in ../Frameworks.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/job_clock.h"
#include "protocol/module.h"
#include "protocol/protocol.h"

namespace {

void Check(AERROR result, const char* what) {
  if (result == AERROR::SUCCESS) return;
  std::fprintf(stderr, "plugin_client: %s failed with %d\n", what, static_cast<int>(result));
  std::exit(1);
}

std::string Setting(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr) throw std::runtime_error(std::string("not set: ") + name);
  return value;
}

class DropBytes final : public IFetchCallback {
 public:
  AERROR OnFetched(long long, const void*, int, int) override { return AERROR::SUCCESS; }
};

class DropNames final : public IFileList {
 public:
  AERROR AddFile(const _FS_FILE_V2*) override { return AERROR::SUCCESS; }
};

// A mapped file, again and again.
class MappedSource final : public ICacheIO {
 public:
  explicit MappedSource(const char* file) {
    struct stat status {};
    const int descriptor = open(file, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0 || fstat(descriptor, &status) != 0) throw std::runtime_error(file);
    length_ = static_cast<std::size_t>(status.st_size);
    void* bytes = mmap(nullptr, length_, PROT_READ, MAP_SHARED, descriptor, 0);
    close(descriptor);
    if (bytes == MAP_FAILED) throw std::runtime_error(file);
    bytes_ = static_cast<const char*>(bytes);
  }
  ~MappedSource() { munmap(const_cast<char*>(bytes_), length_); }
  MappedSource(const MappedSource&) = delete;
  MappedSource& operator=(const MappedSource&) = delete;

  AERROR Write(long long, const void*, int, int) override { return AERROR::NOT_SUPPORTED; }
  AERROR Read(_FS_HANDLE*, long long offset, void* data, int count, int* read) override {
    const std::size_t at = static_cast<std::size_t>(offset) % length_;
    const std::size_t taken = std::min(length_ - at, static_cast<std::size_t>(count));
    std::memcpy(data, bytes_ + at, taken);
    *read = static_cast<int>(taken);
    return AERROR::SUCCESS;
  }

 private:
  const char* bytes_;
  std::size_t length_;
};

struct Unload {
  void operator()(void* library) const { dlclose(library); }
};
using Library = std::unique_ptr<void, Unload>;

struct Release {
  void operator()(IProtocol_V2* drive) const { drive->Release(); }
};
using Drive = std::unique_ptr<IProtocol_V2, Release>;

struct Job {
  std::string kind;
  std::string bucket;
  std::string name;  // file ID, name prefix or folder
  long long file_bytes;
  long long block_bytes;
  long count;
  int threads;
  std::unique_ptr<MappedSource> source;

  std::string Id() const { return bucket + "/" + name; }
};

Library Load() {
  Library library(dlopen(Setting("BENCH_LIBRARY").c_str(), RTLD_NOW | RTLD_LOCAL));
  if (!library) throw std::runtime_error(dlerror());
  return library;
}

// The forms hold only texts without characters that JSON would escape.
std::string ProxyForm() {
  return R"({"values":{"proxy":{"value":{"type":"HTTP with TUNNEL","host":"127.0.0.1","port":)" +
         Setting("BENCH_PROXY_PORT") + R"(,"user":"","password":""}}}})";
}

std::string AccountForm() {
  return R"({"values":{"account_id":{"value":")" + Setting("B2_APPLICATION_KEY_ID") +
         R"("},"application_key":{"value":")" + Setting("B2_APPLICATION_KEY") + R"("}}})";
}

Drive Connect(const Library& library) {
  const auto make = reinterpret_cast<module_api::GetProtocol>(dlsym(library.get(), "GetProtocol"));
  void* made = nullptr;
  if (make == nullptr || !make("bench", nullptr, &made)) throw std::runtime_error("no protocol");
  Drive drive(static_cast<IProtocol_V2*>(made));
  Check(drive->SetOpt("option_fields", ProxyForm().c_str()), "SetOpt");
  Check(drive->Connect(nullptr, AccountForm().c_str()), "Connect");
  DropNames buckets;
  Check(drive->GetFileList("", &buckets, nullptr), "GetFileList");
  return drive;
}

void ReadAt(IProtocol_V2& drive, const Job& job, long long offset) {
  DropBytes sink;
  Check(drive.Read(job.Id().c_str(), offset, job.block_bytes, std::make_shared<_FS_HANDLE>(), &sink,
                   nullptr),
        "Read");
}

void LookUp(IProtocol_V2& drive, const Job& job) {
  _FS_FILE_V2 record;
  Check(drive.GetFileInfo(job.Id().c_str(), &record, nullptr), "GetFileInfo");
}

void List(IProtocol_V2& drive, const Job& job) {
  DropNames names;
  Check(drive.GetFileList(job.Id().c_str(), &names, nullptr), "GetFileList");
}

void Upload(IProtocol_V2& drive, const Job& job, long index) {
  _FS_FILE_V2 record;
  record.name = job.name + "-" + std::to_string(index);
  record.size = static_cast<std::uint64_t>(job.file_bytes);
  Check(drive.Upload(job.bucket.c_str(), std::make_shared<_FS_HANDLE>(), job.source.get(), &record,
                     UPLOAD_DEFAULT, nullptr),
        "Upload");
}

std::function<void(long)> ItemOf(IProtocol_V2& drive, const Job& job) {
  if (job.kind == "read") return [&](long i) { ReadAt(drive, job, job.block_bytes * i); };
  if (job.kind == "read-random") {
    return [&](long i) { ReadAt(drive, job, BlockOffset(i, job.file_bytes, job.block_bytes)); };
  }
  if (job.kind == "lookup") return [&](long) { LookUp(drive, job); };
  if (job.kind == "list") return [&](long) { List(drive, job); };
  if (job.kind == "upload") return [&](long i) { Upload(drive, job, i); };
  if (job.kind == "session") return [](long) {};
  throw std::runtime_error("no such job: " + job.kind);
}

void Run(IProtocol_V2& drive, const Job& job) {
  const std::function<void(long)> item = ItemOf(drive, job);
  std::atomic<long> next = 0;
  const auto work = [&] {
    for (long index = next++; index < job.count; index = next++) item(index);
  };
  const JobClock start = StartJobClock();
  std::vector<std::thread> threads;
  for (int i = 1; i < job.threads; ++i) threads.emplace_back(work);
  work();
  for (std::thread& thread : threads) thread.join();
  PrintJobClock(start);
}

Job JobOf(const std::vector<std::string>& words) {
  Job job{words[0],
          words[1],
          words[2],
          std::stoll(words[3]),
          std::stoll(words[4]),
          std::stol(words[5]),
          std::stoi(words[6]),
          nullptr};
  if (words.size() > 7) job.source = std::make_unique<MappedSource>(words[7].c_str());
  return job;
}

}  // namespace

// JOB BUCKET NAME FILE_BYTES BLOCK_BYTES COUNT THREADS [SOURCE_FILE]
int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.size() < 7) {
    std::fputs("usage: JOB BUCKET NAME FILE_BYTES BLOCK_BYTES COUNT THREADS [SOURCE_FILE]\n",
               stderr);
    return 2;
  }
  try {
    const Job job = JobOf(words);
    const Library library = Load();
    const Drive drive = Connect(library);
    Run(*drive, job);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "plugin_client: %s\n", error.what());
    return 1;
  }
}
