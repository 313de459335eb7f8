#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "b2/about.h"
#include "b2/claims.h"
#include "b2/file_details.h"
#include "b2/options.h"
#include "b2/part_board.h"
#include "b2/paths.h"
#include "b2/service_request.h"
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
  class LargeFileEnd;
  class LargeFileUpload;
  class PartSender;
  class PartsCopy;
  class PartsUpload;
  class SingleUpload;
  struct ListState;

  // Every query of the object: runs it on the pool with the settings that all its transfers share.
  AERROR Query(const Options& options, ServicePerformer performer, HandlerMap on_range,
               HandlerMap on_code = {}, TransportMap on_transport = TimeoutOnly()) const;
  // The same, given up as soon as `stop`, if it is not empty, says so: UPLOAD_CANCELED then, where
  // the maps do not say otherwise. Binds the query logger.
  AERROR QueryUnless(const Stop& stop, const Options& options, ServicePerformer performer,
                     HandlerMap on_range, HandlerMap on_code = {},
                     TransportMap on_transport = UploadFailures()) const;
  // The common shape of a service call: POST of a JSON body with the account's token.
  ServicePerformer JsonCall(const char* name, const char* call_name, BodyBuilder body) const;
  // The same for a copy, which the service answers when it is done.
  ServicePerformer CopyCall(const char* name, const char* call_name, BodyBuilder body) const;

  AERROR GetFileList_BucketList(const Options& options, const char* path, IFileList* list,
                                char** msg);
  AERROR GetFileList_ObjectList(const Options& options, const char* path, IFileList* list,
                                char** msg, std::string delimiter);
  // `single`: the versions of the one file that the identifier names, else of everything under the
  // folder. Records carry the bare file ID and the full stored name. `newest_id` becomes the file
  // ID of the newest finished version or hide marker, unless it is null.
  AERROR GetFileList_ObjectVersions(const Options& options, const char* path, IFileList* list,
                                    bool single, char** msg, std::string* newest_id = nullptr);
  // What the views show of a folder.
  AERROR ListVersionsOf(const Options& options, const char* path, IFileList& list) const;
  AERROR ListUnfinishedOf(const Options& options, const char* path, IFileList& list);
  AERROR NamedFileInfo(const Options& options, const ItemPath& folder, _FS_FILE_V2& record);
  AERROR UnfinishedInfo(const Options& options, const ItemPath& file, _FS_FILE_V2& record);
  // Bytes of the parts that are there; FILE_NOT_FOUND when it is unfinished no more.
  AERROR SetUnfinishedSize(const Options& options, _FS_FILE_V2& record);
  AERROR _GetFileInfo(const Options& options, const char* path, _FS_FILE_V2* record, char** msg,
                      bool full);
  AERROR GetFileFullName(const Options& options, const char* path, std::string& full_name,
                         char** msg);
  AERROR BucketInfo(const Options& options, const std::string& container, _FS_FILE_V2& record,
                    char** msg);
  AERROR FolderInfo(const Options& options, const char* path, _FS_FILE_V2& record);
  AERROR StoredFileInfo(const Options& options, const std::string& file_id, _FS_FILE_V2& record,
                        bool full);

  AERROR CreateBucket(const Options& options, _FS_FILE_V2* record);
  AERROR FindSource(const Options& options, const char* id, _FS_FILE_V2& source, char** msg);
  // Copies `source`, whose name is the full one, and fills `out`, whose texts may tell what is
  // stored with the copy.
  AERROR CopyFile(const Options& options, const _FS_FILE_V2& source, const ItemPath& target,
                  _FS_FILE_V2& out);
  AERROR CopyAndDelete(const Options& options, const _FS_FILE_V2& source, const ItemPath& target,
                       _FS_FILE_V2& out, char** msg);
  // Moves the file `id` to what `target_of` makes of its full name, if that is a file's path.
  using TargetOf = std::function<ItemPath(const std::string& full_name)>;
  AERROR MoveFile(const Options& options, const char* id, const TargetOf& target_of,
                  _FS_FILE_V2& out, char** msg);
  // What is left to do after the copy, unless the host wants only that.
  AERROR DeleteSource(const Options& options, const _FS_FILE_V2& source, const ItemPath& target,
                      const _FS_FILE_V2& copy, char** msg);
  // The versions of its name that are older than the file.
  AERROR DeleteOlder(const Options& options, const _FS_FILE_V2& file, char** msg);
  AERROR MoveNames(const Options& options, const ItemPath& folder, const ItemPath& target,
                   char** msg);
  // `copy_id`: of the copy that an earlier call made; empty: none.
  AERROR MoveName(const Options& options, const _FS_FILE_V2& source, const ItemPath& target,
                  const std::string& copy_id);

  // The file's versions, newest first. SHARING_VIOLATION when it is not the newest one.
  AERROR ListUnchanged(const Options& options, const _FS_FILE_V2& file, FileList& versions,
                       char** msg);
  AERROR HideFile(const Options& options, const _FS_FILE_V2& file, char** msg);
  AERROR HideFolder(const Options& options, const ItemPath& folder, char** msg);
  AERROR HideName(const Options& options, const ItemPath& object);
  AERROR DeleteUnchanged(const Options& options, const _FS_FILE_V2& file, char** msg);
  AERROR DeleteFolder(const Options& options, _FS_FILE_V2* record, char** msg);
  AERROR DeleteVersion(const Options& options, std::string file_id, std::string file_name,
                       char** msg);
  AERROR DeleteThisVersion(const Options& options, const _FS_FILE_V2& version, char** msg);
  AERROR DeleteVersions(const Options& options, FileList& versions, char** msg);
  AERROR DeleteBucket(const Options& options, std::string bucket_id, char** msg);

  AERROR GetUploadUrl(const Options& options, std::string bucket_id, std::string& upload_url,
                      std::string& upload_token);
  AERROR UploadUsingPost(const Options& options, const char* path,
                         std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache, _FS_FILE_V2* info,
                         char** msg, bool directory_marker);
  AERROR UploadLargeFile(const Options& options, const char* path,
                         std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache, _FS_FILE_V2* info,
                         UPLOAD_FLAG flag, char** msg);
  AERROR PrepareLargeFile(const Options& options, const ItemPath& object,
                          const FileAttributes& attributes, std::string& file_id,
                          std::string& part_url, std::string& part_token);
  AERROR StartLargeFile(const Options& options, const ItemPath& object,
                        const FileAttributes& attributes, std::string& file_id);
  // As `start`, the call's body, says. What was started while its answer was lost is canceled,
  // unless it stays.
  AERROR StartLargeFile(const Stop& stop, const Options& options, JsonObject start, bool stays,
                        std::string& file_id);
  void CancelLostStart(const Stop& stop, const Options& options, const JsonObject& start);
  AERROR UploadInParts(const Options& options, const char* path, std::shared_ptr<_FS_HANDLE> handle,
                       ICacheIO* cache, _FS_FILE_V2* info, char** msg);
  // Bytes of a part: as wanted, or what the service recommends.
  long long PartSize(long long wanted) const;
  long long UploadPartSize(const Options& options, long long size) const;
  // Calls `add` for each unfinished large file of the bucket whose name begins so, oldest first.
  AERROR ForEachUnfinished(const Stop& stop, const Options& options, const ItemPath& prefix,
                           const std::function<void(JsonObject&)>& add);
  // The bucket's unfinished large files whose start answer has `wanted`'s members, newest first.
  AERROR ListUnfinished(const Stop& stop, const Options& options, JsonObject wanted,
                        std::vector<std::string>& file_ids);
  // FILE_NOT_FOUND when the service has no such unfinished file.
  AERROR ListParts(const Stop& stop, const Options& options, const std::string& file_id,
                   StoredParts& parts);
  // Cancels it; FILE_NOT_FOUND as above.
  AERROR DiscardLargeFile(const Options& options, std::string file_id, const Stop& stop);
  AERROR GetUploadPartUrl(const Options& options, std::string file_id, std::string& url,
                          std::string& token);
  AERROR CancelLargeFile(const Options& options, std::string file_id);

  std::string identifier_;
  std::string connect_info_;
  std::string authorization_token_;
  std::string api_url_;
  std::string download_url_;
  std::int64_t recommended_part_size_ = 0;       // bytes
  std::int64_t absolute_minimum_part_size_ = 0;  // bytes
  std::shared_ptr<About> about_;
  IProtocolManager* manager_;  // the host's
  std::string manager_text_;
  IProtocolAuth* auth_ = nullptr;  // the host's
  CurrentOptions options_;
  UploadUrls upload_urls_;
  Claims large_files_;
};
