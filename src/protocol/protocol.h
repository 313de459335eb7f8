#pragma once

#include <memory>

#include "aerror.h"
#include "host_interfaces.h"
#include "records.h"

// The protocol object, one per account. Slot order is binary interface.
//
// Conventions for every operation:
//  1. No exception leaves. Arguments are borrowed for the call unless a slot says otherwise.
//  2. `message`: may be null; this protocol never writes one. A text written there is freed with
//     the same object's FreeMsg.
//  3. `buffer`, `size`: in, the buffer's bytes; out, the text's length without its terminating
//     zero. Too small: INSUFFICIENT_BUFFER, buffer untouched. A buffer of the reported length plus
//     one always holds the text. Where a slot differs, it says so.
//  4. Identifiers are those of earlier records (see _FS_FILE_V1::id); a null one fails without a
//     request.
//  5. File operations may run on any number of threads at once after Connect. Release and Connect
//     must not overlap anything else on the object. SetOpt may: an operation keeps to the options
//     with which it began.
//  6. Common failures: TIMEDOUT for a transfer that stalled, FAILED for other transport failures
//     and for answers of 400 and more. A request that is answered with 429 is repeated after 1, 2,
//     4, 8 and 16 seconds. Outputs may be partly written when a call fails.

class IRefObject {
 public:
  // Ends the host's ownership: destroys the object, which must not be in use.
  virtual void Release() = 0;

 protected:
  ~IRefObject() = default;
};

class IProtocol_V1 : public IRefObject {
 public:
  // The service's display name. INVALID_PARAMETER for null arguments. Reports the length plus one
  // when the buffer is too small, the bare length on success.
  virtual AERROR GetUserInfo(char* buffer, int* size) = 0;
  // A fixed answer in bytes: 10 TiB in total, none used. Null pointers are skipped.
  virtual AERROR GetQuota(unsigned long long* total, unsigned long long* used) = 0;
  virtual AERROR SetQuota(unsigned long long total, unsigned long long used) = 0;  // NOT_SUPPORTED
  // The protocol's name, static text that is never freed.
  virtual AERROR GetType(char** type) = 0;
  // Adds the direct children of a folder to `sink`: buckets for the root, files and folders below.
  // Records of earlier pages stay when a later one fails.
  virtual AERROR GetFileList(const char* id, IFileList* sink, char** message) = 0;
  virtual AERROR GetChanges(IFileChanges* sink, char** message) = 0;  // SUCCESS, nothing reported
  // Fills `out`, whose type is an input: with FS_DIRECTORY a folder is looked up (by its marker
  // object only), else a file, whose name and type stay as they were. FAILED when there is none.
  // With the option "find_by_name" a file whose name is given is looked up in the folder `id`, and
  // gets its identifier; FILE_NOT_FOUND when the service has none.
  virtual AERROR GetFileInfo(const char* id, _FS_FILE_V2* out, char** message) = 0;
  // NOT_SUPPORTED unless the option "server_copy" is on. Rename: `to` is the file's new last name.
  // Move and MoveDir: `to` is the identifier of the folder it goes to, out->name its name there.
  virtual AERROR Rename(const char* from, const char* to, _FS_FILE_V2* out, char** message) = 0;
  virtual AERROR Move(const char* from, const char* to, _FS_FILE_V2* out, char** message) = 0;
  virtual AERROR MoveDir(const char* from, const char* to, _FS_FILE_V2* out, char** message) = 0;
  // Makes the directory out->name under `id`: a private bucket at the root, a folder below. Fills
  // id, type and times.
  virtual AERROR CreateDirectory(const char* id, _FS_FILE_V2* out, char** message) = 0;
  // Deletes every stored version of the file, and of every other name that begins with its full
  // name, unless the option "exact_delete" is on.
  virtual AERROR Delete(_FS_FILE_V2* file, char** message) = 0;
  // A bucket must be empty; a folder goes with everything in it. ACCESS_DENIED when the option
  // "enable_delete_folder" forbids the latter.
  virtual AERROR DeleteDirectory(_FS_FILE_V2* dir, char** message) = 0;
  // Delivers `length` bytes (at least 1) from `offset` to `callback`, on this thread. READ_CANCELED
  // once the handle's transfer state is TRANSFER_CANCELED or above; FILE_READ_FAILED for a null id.
  virtual AERROR Read(const char* id, long long offset, long long length,
                      std::shared_ptr<_FS_HANDLE> handle, IFetchCallback* callback,
                      char** message) = 0;
  // Writes the file out->name of out->size bytes under the parent `id`, reading it through `cache`
  // on this thread, and fills id, type, size and times. UPLOAD_CANCELED once the handle's transfer
  // state is TRANSFER_CANCELED or above or a cache read fails; ACCESS_DENIED for a null id or one
  // without a bucket.
  virtual AERROR Upload(const char* id, std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
                        _FS_FILE_V2* out, UPLOAD_FLAG flags, char** message) = 0;
  virtual AERROR SetFileTime(const char* id, const char* first_time, const char* second_time,
                             const char* third_time, _FS_FILE_V2* out,
                             char** message) = 0;  // NOT_SUPPORTED
  // Sets an option; keys are compared without regard to case. Always SUCCESS: an unknown key is
  // ignored, a value that does not read ends its handling early.
  virtual AERROR SetOpt(const char* key, const char* value) = 0;
  // The text last given to Connect. AUTH_FAILED for a null buffer, FS_NEED_AUTHORIZE without an
  // account ID and key. `size` must not be null.
  virtual AERROR GetCredential(char* buffer, int* size) = 0;
  virtual int GetFeature() = 0;
  virtual void SetQuotaCallback(void* context,
                                bool (*callback)(void*, void*, long long*, long long*)) = 0;
  // Frees a message of this object with the C allocator; null is ignored.
  virtual void FreeMsg(char* message) = 0;

 protected:
  ~IProtocol_V1() = default;
};

class IProtocol_V2 : public IProtocol_V1 {
 public:
  // Authorizes with the saved account form (JSON). `auth` must outlive the object. AUTH_FAILED for
  // a form that does not read, ACCESS_VIOLATION for every failed authorization.
  virtual AERROR Connect(IProtocolAuth* auth, const char* connect_info) = 0;
  virtual AERROR GetIdentifier(char* buffer, int* size) = 0;  // SUCCESS, nothing written
  // The root's identifier, the empty text. ACCESS_DENIED for a null size.
  virtual AERROR GetRootID(char* buffer, int* size) = 0;
  virtual AERROR SetChangesCallback(IFileChanges* sink) = 0;  // SUCCESS, nothing kept
  virtual ~IProtocol_V2() = default;
};
