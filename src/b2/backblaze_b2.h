#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "b2/about.h"
#include "b2/service_request.h"
#include "engine/query_logger.h"
#include "protocol/file_list.h"
#include "protocol/protocol.h"

// The protocol object: one account. Operations are documented at their slots in
// protocol/protocol.h; each family stands in a file of its own. Identifiers: see b2/paths.h.
class BackBlazeB2 final : public IProtocol_V2 {
 public:
  static constexpr char kProtocolName[] = "backblazeb2";

  // `manager` may be null.
  BackBlazeB2(const char* identifier, IProtocolManager* manager);
  ~BackBlazeB2() override = default;
  BackBlazeB2(const BackBlazeB2&) = delete;
  BackBlazeB2& operator=(const BackBlazeB2&) = delete;

  static int GetAuthType() { return 4; }
  static AERROR GetAuthFields(char* buffer, int* size);
  static AERROR GetOptFields(char* buffer, int* size);

  void Release() override;
  AERROR GetUserInfo(char* buffer, int* size) override;
  AERROR GetQuota(unsigned long long* total, unsigned long long* used) override;
  AERROR SetQuota(unsigned long long total, unsigned long long used) override;
  AERROR GetType(char** type) override;
  AERROR GetFileList(const char* id, IFileList* sink, char** message) override;
  AERROR GetChanges(IFileChanges* sink, char** message) override;
  AERROR GetFileInfo(const char* id, _FS_FILE_V2* out, char** message) override;
  AERROR Rename(const char* from, const char* to, _FS_FILE_V2* out, char** message) override;
  AERROR Move(const char* from, const char* to, _FS_FILE_V2* out, char** message) override;
  AERROR MoveDir(const char* from, const char* to, _FS_FILE_V2* out, char** message) override;
  AERROR CreateDirectory(const char* id, _FS_FILE_V2* out, char** message) override;
  AERROR Delete(_FS_FILE_V2* file, char** message) override;
  AERROR DeleteDirectory(_FS_FILE_V2* dir, char** message) override;
  AERROR Read(const char* id, long long offset, long long length,
              std::shared_ptr<_FS_HANDLE> handle, IFetchCallback* callback,
              char** message) override;
  AERROR Upload(const char* id, std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
                _FS_FILE_V2* out, UPLOAD_FLAG flags, char** message) override;
  AERROR SetFileTime(const char* id, const char* first_time, const char* second_time,
                     const char* third_time, _FS_FILE_V2* out, char** message) override;
  AERROR SetOpt(const char* key, const char* value) override;
  AERROR GetCredential(char* buffer, int* size) override;
  int GetFeature() override;
  void SetQuotaCallback(void* context,
                        bool (*callback)(void*, void*, long long*, long long*)) override;
  void FreeMsg(char* message) override;
  AERROR Connect(IProtocolAuth* auth, const char* connect_info) override;
  AERROR GetIdentifier(char* buffer, int* size) override;
  AERROR GetRootID(char* buffer, int* size) override;
  AERROR SetChangesCallback(IFileChanges* sink) override;

  // Authorization, for About.
  AERROR AuthorizeAccount();
  // Stores the session out of an authorization answer, member by member; FAILED at the first that
  // is missing or of the wrong type, the earlier ones staying stored.
  AERROR SetAuthorizedInfo(std::string body);

  std::string GetSystemTimeRfc3339();

 private:
  class LargeFileUpload;
  struct ListState;
  struct Option;

  // Every query of the object: runs it on the pool with the settings that all its transfers share.
  AERROR Query(ServicePerformer performer, HandlerMap on_range, HandlerMap on_code = {},
               TransportMap on_transport = TimeoutOnly()) const;
  // The common shape of a service call: POST of a JSON body with the account's token.
  ServicePerformer JsonCall(const char* name, const char* call_name, BodyBuilder body) const;

  AERROR GetFileList_BucketList(const char* path, IFileList* list, char** msg);
  AERROR GetFileList_ObjectList(const char* path, IFileList* list, char** msg,
                                std::string delimiter);
  // `single`: the versions of the one file that the identifier names, else of everything under the
  // folder. Records carry the bare file ID and the full stored name. `newest_id` becomes the file
  // ID of the newest finished version or hide marker, unless it is null.
  AERROR GetFileList_ObjectVersions(const char* path, IFileList* list, bool single, char** msg,
                                    std::string* newest_id = nullptr);
  AERROR _GetFileInfo(const char* path, _FS_FILE_V2* record, char** msg, bool full);
  AERROR GetFileFullName(const char* path, std::string& full_name, char** msg);
  AERROR BucketInfo(const std::string& container, _FS_FILE_V2& record, char** msg);
  AERROR FolderInfo(const char* path, _FS_FILE_V2& record);
  AERROR StoredFileInfo(const std::string& file_id, _FS_FILE_V2& record, bool full);

  AERROR CreateBucket(_FS_FILE_V2* record);
  AERROR DeleteUnchanged(const _FS_FILE_V2& file, char** msg);
  AERROR DeleteFolder(_FS_FILE_V2* record, char** msg);
  AERROR DeleteVersion(std::string file_id, std::string file_name, char** msg);
  AERROR DeleteVersions(FileList& versions, char** msg);
  AERROR DeleteBucket(std::string bucket_id, char** msg);

  AERROR GetUploadUrl(std::string bucket_id, std::string& upload_url, std::string& upload_token);
  AERROR UploadUsingPost(const char* path, std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
                         _FS_FILE_V2* info, char** msg, bool directory_marker);
  AERROR UploadLargeFile(const char* path, std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
                         _FS_FILE_V2* info, UPLOAD_FLAG flag, char** msg);
  AERROR PrepareLargeFile(std::string bucket_id, std::string file_name, std::string& file_id,
                          std::string& part_url, std::string& part_token);
  AERROR StartLargeFile(std::string bucket_id, std::string file_name, std::string& file_id);
  AERROR GetUploadPartUrl(std::string file_id, std::string& url, std::string& token);
  AERROR CancelLargeFile(std::string file_id);

  void ApplyAccountJson(const char* value);
  void ApplyOptionForm(const char* value);
  void ApplyOptionField(const std::string& name, JsonObject value);

  bool enable_delete_folder_ = true;
  std::string identifier_;
  std::string connect_info_;
  std::string account_id_;
  std::string application_key_;
  std::string authorization_token_;
  std::string api_url_;
  std::string download_url_;
  std::int64_t recommended_part_size_ = 0;       // bytes
  std::int64_t absolute_minimum_part_size_ = 0;  // bytes
  std::shared_ptr<About> about_;
  std::int64_t speed_limit_ = 0;  // bytes per second of one transfer; 0 is unlimited
  long low_speed_limit_ = 1;      // bytes per second; a transfer that stays below it times out
  IProtocolManager* manager_;     // the host's
  std::string manager_text_;
  IProtocolAuth* auth_ = nullptr;  // the host's
  std::shared_ptr<IQueryLogger> query_logger_;
  bool delete_if_unchanged_ = false;  // delete a file only if its record names the newest version
  bool exact_delete_ = false;    // delete exactly the named file, page versions without repeats
  bool strict_answers_ = false;  // believe no range and no cursor unseen
};
