#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "emulator/access.h"
#include "emulator/args.h"
#include "emulator/options.h"
#include "emulator/shapes.h"
#include "emulator/store.h"

namespace emulator {

// A JSON call whose account token has been checked.
struct CallContext {
  Dialect dialect() const { return {access.account_id(), version}; }

  // The bucket named by field `bucketId`, which must exist and be the key's.
  Bucket BucketArg() const;
  // Throws unless field `accountId` is this account.
  void CheckAccount() const;
  // Throws unless the key reaches the version's bucket and name.
  void CheckReach(const Version& version) const;

  Store& store;
  Access& access;
  const Args& args;
  KeyPtr key;
  int version;
  int64_t page_cap;
  const std::string& base;  // as Incoming has it
};

// One JSON call of the service.
struct Call {
  std::string_view name;
  const char* capability;
  bool stores;   // takes room in the account, so a reached cap refuses it
  bool changes;  // has an effect beyond its answer
  nlohmann::json (*answer)(const CallContext& call);
};

// Null for a name the service does not know.
const Call* FindCall(std::string_view name);

// What authorize answers.
inline constexpr std::string_view kApiBase = "https://api001.backblazeb2.com";
inline constexpr std::string_view kDownloadBase = "https://f001.backblazeb2.com";
inline constexpr std::string_view kS3Base = "https://s3.us-west-001.backblazeb2.com";

// The URL that takes uploads with the ticket.
std::string UploadUrl(const CallContext& call, std::string_view call_name,
                      const UploadTicket& ticket);

// Largest single upload, part and copy source, bytes.
inline constexpr uint64_t kMaxUploadBytes = 5'000'000'000;

nlohmann::json ListBuckets(const CallContext& call);
nlohmann::json CreateBucket(const CallContext& call);
nlohmann::json UpdateBucket(const CallContext& call);
nlohmann::json DeleteBucket(const CallContext& call);

nlohmann::json ListFileNames(const CallContext& call);
nlohmann::json ListFileVersions(const CallContext& call);
nlohmann::json ListUnfinishedLargeFiles(const CallContext& call);
nlohmann::json ListParts(const CallContext& call);

nlohmann::json GetFileInfo(const CallContext& call);
nlohmann::json GetUploadUrl(const CallContext& call);
nlohmann::json HideFile(const CallContext& call);
nlohmann::json DeleteFileVersion(const CallContext& call);
nlohmann::json CopyFile(const CallContext& call);
nlohmann::json GetDownloadAuthorization(const CallContext& call);

nlohmann::json StartLargeFile(const CallContext& call);
nlohmann::json GetUploadPartUrl(const CallContext& call);
nlohmann::json FinishLargeFile(const CallContext& call);
nlohmann::json CancelLargeFile(const CallContext& call);
nlohmann::json CopyPart(const CallContext& call);

nlohmann::json ListKeys(const CallContext& call);
nlohmann::json CreateKey(const CallContext& call);
nlohmann::json DeleteKey(const CallContext& call);

}  // namespace emulator
