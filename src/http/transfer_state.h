#pragma once

#include <curl/curl.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "protocol/host_interfaces.h"
#include "protocol/records.h"
#include "util/free_with.h"
#include "util/sha1.h"

// What libcurl's callbacks get as their data pointer.

inline constexpr int kStagingBytes = 512 * 1024;

// A request body in memory; `data` is borrowed for the transfer.
struct BufferCursor {
  const char* data = nullptr;
  long long position = 0;
  long long length = 0;
};

// Progress of one transfer.
struct ProgressBinding {
  FS_PROGRESS function = nullptr;
  void* context = nullptr;
  CURL* easy = nullptr;
};

// Progress of a file whose bytes go out over several transfers.
struct UploadProgress {
  ProgressBinding binding;
  long long total = 0;  // bytes of the whole file
  long long last = 0;   // the running transfer's count at the latest callback
  long long sent = 0;   // bytes of the whole file so far
};

// A range of a file on its way to the host.
struct DownloadState {
  long long offset = 0;     // file offset of the staged bytes
  long long remaining = 0;  // bytes still expected, the staged ones included
  long long start = 0;      // requested offset
  std::shared_ptr<_FS_HANDLE> handle;
  std::unique_ptr<char, util::FreeWith<std::free>> buffer;  // kStagingBytes
  int buffered = 0;                                         // bytes staged
  IFetchCallback* callback = nullptr;
  CURL* easy = nullptr;  // to tell an error's body from the file's bytes
  bool strict = false;   // take bytes only of the very range that was asked for
  bool known = false;    // the running answer has been seen to be of that range
  bool refused = false;  // it is of another, or has more bytes
};

// A range of a file on its way out of the host's cache.
struct UploadState {
  ICacheIO* cache = nullptr;
  std::shared_ptr<_FS_HANDLE> handle;
  long long start = 0;   // file offset of the range
  long long length = 0;  // bytes of the range
  long long offset = 0;  // file offset of the next byte; the range's end when all are read
  bool shown = true;     // the handle's transfer tells the host how far it is
};

// A range whose SHA-1 follows it, so that it is read only once.
struct DigestState {
  UploadState& range;
  util::Sha1 sha1 = {};
  std::string digits = {};  // the digest, once the range is read
  std::size_t digits_sent = 0;

  static constexpr long long kDigits = 40;  // bytes more than the range has
};

// Progress of a transfer that another thread looks at.
struct SharedProgress {
  std::function<bool()> stop;          // true ends the transfer
  std::atomic<long long> uploaded{0};  // bytes of the body
};
