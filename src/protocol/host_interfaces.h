#pragma once

#include <cstdarg>
#include <cstdint>

#include "aerror.h"
#include "records.h"

// What the host implements and the module calls. All objects are the host's: the module frees none
// and keeps only the pointers that BindLogger, GetProtocol and Connect hand it. Destructors are not
// part of these tables. Slot order is binary interface.

// Bit values; each line has one of them.
enum LOGLEVEL : std::int32_t {
  LOGLEVEL_TRACE = 1,    // call traces, transfer headers
  LOGLEVEL_INFO = 2,     // a summary of each attempt, waits
  LOGLEVEL_WARNING = 4,  // refusals
  LOGLEVEL_ERROR = 8,    // failures
};

// Called from every thread that uses the module, several at a time.
class ILog {
 public:
  // The host's own; the module never calls it.
  virtual void SetLevels(std::int32_t levels) = 0;
  // Whether libcurl's own text and header lines are wanted; asked before each traced transfer.
  virtual bool IsNetworkTraceEnabled() = 0;
  // Writes one line: printf-style format without a line end, and its arguments.
  virtual void Log(LOGLEVEL level, const char* format, std::va_list arguments) = 0;

 protected:
  ~ILog() = default;
};

// Handed to GetProtocol; must outlive the protocol object.
class IProtocolManager {
 public:
  // Writes the text stored under `key`, zero-terminated, into `buffer` of `*size` bytes and its
  // length into `*size`. Called once, while the protocol object is constructed.
  virtual AERROR GetText(const char* key, char* buffer, int* size) = 0;

 protected:
  ~IProtocolManager() = default;
};

// Handed to Connect and kept; this protocol makes no call on it.
class IProtocolAuth {
 public:
  // The host's interactive sign-in at `url`, for protocols that have one.
  virtual AERROR Authorize(const char* url, char** answer) = 0;

 protected:
  ~IProtocolAuth() = default;
};

// Receives a listing.
class IFileList {
 public:
  // Copies what it keeps of `file`, which is valid during the call only. Called on the thread that
  // called the listing.
  virtual AERROR AddFile(const _FS_FILE_V2* file) = 0;

 protected:
  ~IFileList() = default;
};

// Receives the bytes of a Read.
class IFetchCallback {
 public:
  // `count` bytes of the file from `offset` on, valid during the call only; offsets ascend without
  // gaps, at most 512 KiB per call. A repeated attempt starts again at the requested offset.
  // `flags` is 0. The result is the host's own business and not looked at; a read is given up
  // through the handle's transfer state.
  virtual AERROR OnFetched(long long offset, const void* data, int count, int flags) = 0;

 protected:
  ~IFetchCallback() = default;
};

// The contents of a file that is to be uploaded.
class ICacheIO {
 public:
  // The shape of IFetchCallback's operation, so that a cache can stand on the receiving side too.
  virtual AERROR Write(long long offset, const void* data, int count, int flags) = 0;
  // Reads up to `count` bytes from `offset` of the handle's file and sets `*read` to the bytes
  // read. Anything but SUCCESS, or no bytes where some were asked for, aborts the upload.
  // Called on the uploading thread; offsets ascend, but may start again when a request is repeated.
  // With "upload_connections" above 1 it is called on several threads at once, each with offsets of
  // its own.
  virtual AERROR Read(_FS_HANDLE* handle, long long offset, void* data, int count, int* read) = 0;

 protected:
  ~ICacheIO() = default;
};

// Accepted by GetChanges and SetChangesCallback, never called: the service reports no changes.
class IFileChanges {
 public:
  virtual AERROR AddChange(const _FS_FILE_V2* file) = 0;

 protected:
  ~IFileChanges() = default;
};

// The host's work queue; kept as a pointer and never used.
class IAsyncQ;

// Work that a host's queue can run.
class IAsyncObj {
 public:
  virtual void Process(void* context) = 0;
  virtual void Canceled(void* context) = 0;
  virtual ~IAsyncObj() = default;
};
