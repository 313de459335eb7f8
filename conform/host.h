#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "base/thread_safety.h"
#include "conform/check.h"
#include "protocol/file_list.h"
#include "protocol/host_interfaces.h"

// What the kit hands to a module as its host.
namespace conform {

struct Line {
  int level;
  std::string text;
  std::thread::id thread;
};

// Keeps every line. For any number of threads.
class KeptLog final : public ILog {
 public:
  void SetLevels(std::int32_t) override {}
  bool IsNetworkTraceEnabled() override { return traced; }
  void Log(LOGLEVEL level, const char* format, std::va_list arguments) override;

  std::vector<Line> Take();
  // Whether a line of that level is, or begins or ends with, a text.
  bool Has(int level, Text line);
  bool HasEnd(int level, Text end);
  bool HasPart(int level, Text part);
  int CountParts(Text part);

  std::atomic<bool> traced = false;

 private:
  bool HasAny(const std::function<bool(const Line&)>& wanted);

  base::Mutex mutex_;
  std::vector<Line> lines_ B2_GUARDED_BY(mutex_);
};

// Refuses or throws on demand, and looks at which thread calls it.
class List final : public IFileList {
 public:
  AERROR AddFile(const _FS_FILE_V2* file) override;

  // "name" for files, "name/" for folders.
  Texts Names() const;

  std::vector<_FS_FILE_V2> records;
  AERROR answer = SUCCESS;
  bool throws = false;
  int foreign_calls = 0;  // of other threads

 private:
  const std::thread::id own_ = std::this_thread::get_id();
};

// Collects a read, and what is wrong with how it arrives.
class Fetched final : public IFetchCallback {
 public:
  AERROR OnFetched(long long offset, const void* data, int count, int flags) override;

  std::string bytes;
  long long first_offset = -1;
  int largest = 0, blocks = 0;
  int gaps = 0, foreign_calls = 0, odd_flags = 0;
  AERROR answer = SUCCESS;
  std::function<void()> on_block;

 private:
  const std::thread::id own_ = std::this_thread::get_id();
};

// A file's contents. Read by several threads at once where a module sends parts so.
class Cache final : public ICacheIO {
 public:
  explicit Cache(std::string contents) : bytes(std::move(contents)) {}

  AERROR Write(long long, const void*, int, int) override { return NOT_SUPPORTED; }
  AERROR Read(_FS_HANDLE* handle, long long offset, void* data, int count, int* read) override;

  const std::string bytes;
  std::atomic<_FS_HANDLE*> handle = nullptr;  // the last one that it was read with
  std::atomic<int> foreign_calls = 0, reads_beyond = 0;
  std::size_t largest_read = SIZE_MAX;  // bytes
  std::function<AERROR(long long offset)> on_read;

 private:
  const std::thread::id own_ = std::this_thread::get_id();
};

class Manager final : public IProtocolManager {
 public:
  AERROR GetText(const char* key, char* buffer, int* size) override;

  Texts asked;  // "KEY SIZE"
  bool throws = false;
};

}  // namespace conform
