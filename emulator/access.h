#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/thread_safety.h"
#include "emulator/access_key.h"
#include "emulator/errors.h"
#include "emulator/ledger.h"
#include "emulator/url.h"

namespace emulator {

// The capabilities of the master key.
const std::set<std::string>& AllCapabilities();

// Throw 401 unauthorized unless the key has the capability, or reaches the bucket or the name.
void RequireCapability(const Key& key, const std::string& capability);
void RequireBucket(const Key& key, const std::string& bucket_id);
void RequireName(const Key& key, std::string_view name);

// An upload URL's right to store into one bucket or one large file.
struct UploadTicket {
  std::string token;
  std::string path;    // what follows the call's name in the URL: target, "/", opaque
  std::string target;  // bucket ID or file ID
  KeyPtr key;
  std::chrono::steady_clock::time_point expires;
  std::atomic<bool> busy = false;
};

// The right to use an upload ticket now. One upload has it at a time and gives it back at its end.
class UploadPass {
 public:
  explicit UploadPass(std::shared_ptr<UploadTicket> ticket) : ticket_(std::move(ticket)) {}
  UploadPass(UploadPass&&) = default;
  UploadPass& operator=(UploadPass&&) = delete;
  ~UploadPass() {
    if (ticket_) ticket_->busy = false;
  }

  const std::string& target() const { return ticket_->target; }
  const Key& key() const { return *ticket_->key; }

 private:
  std::shared_ptr<UploadTicket> ticket_;
};

// What a download authorization token allows.
struct DownloadGrant {
  std::string bucket_id;
  std::string name_prefix;
  Pairs overrides;  // b2ContentDisposition and so on: the download must carry the same
  std::chrono::steady_clock::time_point expires;
};

// Keys and tokens. Thread-safe. Refusals are thrown as ServiceError.
class Access {
 public:
  // `token_life` is that of the tokens of accounts and of upload URLs.
  Access(std::string account_id, std::string master_key, std::chrono::seconds token_life,
         std::shared_ptr<Ledger> ledger = std::make_shared<Ledger>());

  const std::string& account_id() const { return account_id_; }

  // The key of an `Authorization: Basic` header; null when wrong.
  KeyPtr Login(std::string_view basic_header) const;

  std::string IssueAccountToken(const KeyPtr& key);
  KeyPtr CheckAccountToken(const std::string& token) const;

  // Token and path of a new upload URL.
  std::shared_ptr<const UploadTicket> IssueUpload(const std::string& target, const KeyPtr& key);
  UploadPass BeginUpload(const std::string& token, const std::string& path) const;

  std::string IssueDownload(DownloadGrant grant);
  // None when the token is not a download authorization.
  std::optional<DownloadGrant> FindDownload(const std::string& token) const;

  // Every token given out so far is answered expired_auth_token from now on.
  void ExpireAll();
  void ExpireAccountToken(const std::string& token);
  // The same for upload tokens alone: for all, as after a day, or for one.
  void ExpireUploads();
  void ExpireUpload(const std::string& token);

  // Adds a key, choosing ID and secret.
  KeyPtr AddKey(Key wanted);
  // All but the master key, in order of their IDs.
  std::vector<KeyPtr> Keys() const;
  // Voids its account and upload tokens too. Returns what was deleted.
  KeyPtr DeleteKey(const std::string& key_id);
  // All keys but the master key are these. Tokens of upload URLs and of downloads, and those of
  // accounts whose keys are not among them, are void.
  void Replace(const std::vector<KeyPtr>& keys);
  // Adds keys that the ledger has already.
  void Restore(const std::vector<KeyPtr>& keys);
  // From now on tokens of this account that are unknown count as expired: an earlier run gave them
  // out.
  void ContinueEarlierRun() { continues_ = true; }

 private:
  struct AccountToken {
    KeyPtr key;
    std::chrono::steady_clock::time_point expires;
  };

  std::string NewToken(const char* kind) const;
  ServiceError UnknownToken(const std::string& token) const;

  const std::string account_id_;
  const std::chrono::seconds token_life_;
  const std::shared_ptr<Ledger> ledger_;
  std::atomic<bool> continues_ = false;

  mutable base::Mutex mutex_;
  std::map<std::string, KeyPtr> keys_ B2_GUARDED_BY(mutex_);
  std::map<std::string, AccountToken> account_tokens_ B2_GUARDED_BY(mutex_);
  std::map<std::string, std::shared_ptr<UploadTicket>> upload_tokens_ B2_GUARDED_BY(mutex_);
  std::map<std::string, DownloadGrant> download_tokens_ B2_GUARDED_BY(mutex_);
};

}  // namespace emulator
