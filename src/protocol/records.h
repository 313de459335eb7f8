#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

// Bit values: a record whose type has FS_DIRECTORY set asks for a folder wherever it is an input.
enum FS_FILE_TYPE : std::uint32_t { FS_NONE = 0, FS_FILE = 1, FS_DIRECTORY = 2 };

// One file or directory. Texts are UTF-8; times are RFC 3339 texts (UTC) and this protocol writes
// the same one into all three, unless the option "keep_times" is on.
struct _FS_FILE_V1 {
  // Empty for the root, the bucket's ID for a bucket, bucket ID + "/" + full name prefix (no
  // trailing slash) for a folder, bucket ID + "/" + file ID for a file.
  std::string id;
  FS_FILE_TYPE type = FS_NONE;
  std::uint64_t size = 0;  // bytes; 0 for directories
  std::string first_time;
  std::string second_time;
  std::string third_time;
  std::string name;   // last path element; empty for the root
  std::string extra;  // the host's; left as it is by this protocol
};

// The members after those of the earlier record are the host's; left as they are by this protocol,
// unless the options "file_details" or "view" make `texts` tell what is stored with the file.
struct _FS_FILE_V2 : _FS_FILE_V1 {
  std::deque<std::string> texts;
  std::string last;
};

// Proxy settings. `type` is one of "SOCKS4", "SOCKS5", "HTTP with TUNNEL", "HTTP without TUNNEL";
// anything else means no proxy. `port` is decimal digits.
struct _PROXYINFO {
  std::string type;
  std::string host;
  std::string port;
  std::string user;
  std::string password;
};

// How the host wants a file written. Passed through; this protocol does not depend on it.
enum UPLOAD_FLAG : std::int32_t { UPLOAD_DEFAULT = 0 };

// States of a transfer as host and module share them. From TRANSFER_CANCELED upwards the transfer
// is given up at its next callback or attempt.
enum TRANSFER_STATE : std::int32_t {
  TRANSFER_IDLE = 0,
  TRANSFER_RUNNING = 1,
  TRANSFER_DONE = 2,
  TRANSFER_CANCELED = 3,
  TRANSFER_FAILED = 4,
};

// The part of a handle that several threads may touch while a transfer runs.
struct _FS_TRANSFER {
  std::atomic<std::int32_t> state{TRANSFER_RUNNING};  // written by the host, from any thread
  std::atomic<std::int64_t> offset{0};  // upload: bytes read so far, written by the module
};

// Called on the transferring thread; must not throw.
using FS_PROGRESS = void (*)(long long total_bytes, long long bytes_so_far, void* context,
                             double bytes_per_second);

// The host's handle of one transfer. The host makes it, shares it with the call and may keep it; it
// is not changed while a call uses it, except for what `transfer` points at.
struct _FS_HANDLE {
  FS_PROGRESS progress = nullptr;  // null: no progress wanted
  void* progress_context = nullptr;
  std::shared_ptr<_FS_TRANSFER> transfer = std::make_shared<_FS_TRANSFER>();
};
