#include "emulator/access.h"

#include <utility>

#include "emulator/errors.h"
#include "emulator/random.h"
#include "emulator/timestamp.h"

namespace emulator {
namespace {

using Clock = std::chrono::steady_clock;

ServiceError Unauthorized(const std::string& message) {
  return ServiceError(401, "unauthorized", message);
}

ServiceError Expired() {
  return ServiceError(401, "expired_auth_token", "Authorization token has expired");
}

void CheckToken(const std::string& token) {
  if (token.empty()) {
    throw ServiceError(401, "missing_auth_token", "Authorization token is missing");
  }
}

void CheckLife(Clock::time_point expires) {
  if (Clock::now() >= expires) throw Expired();
}

bool HasExpired(const Key& key) { return key.expires && Timestamp() >= *key.expires; }

}  // namespace

const std::set<std::string>& AllCapabilities() {
  static const std::set<std::string> all{
      "deleteBuckets", "deleteFiles", "deleteKeys",  "listAllBucketNames", "listBuckets",
      "listFiles",     "listKeys",    "readBuckets", "readFiles",          "shareFiles",
      "writeBuckets",  "writeFiles",  "writeKeys"};
  return all;
}

void RequireCapability(const Key& key, const std::string& capability) {
  if (!key.capabilities.contains(capability)) throw Unauthorized("Not authorized");
}

void RequireBucket(const Key& key, const std::string& bucket_id) {
  if (key.bucket_id && *key.bucket_id != bucket_id) {
    throw Unauthorized("Bucket is not authorized: " + bucket_id);
  }
}

void RequireName(const Key& key, std::string_view name) {
  if (key.name_prefix && !name.starts_with(*key.name_prefix)) throw Unauthorized("Not authorized");
}

Access::Access(std::string account_id, std::string master_key, std::chrono::seconds token_life,
               std::shared_ptr<Ledger> ledger)
    : account_id_(std::move(account_id)), token_life_(token_life), ledger_(std::move(ledger)) {
  keys_[account_id_] = std::make_shared<const Key>(
      Key{.id = account_id_, .secret = std::move(master_key), .capabilities = AllCapabilities()});
}

std::string Access::NewToken(const char* kind) const {
  return "4_" + account_id_ + "_" + RandomHex(40) + "_" + kind;
}

ServiceError Access::UnknownToken(const std::string& token) const {
  if (continues_ && token.starts_with("4_" + account_id_ + "_")) return Expired();
  return ServiceError(401, "bad_auth_token", "Invalid authorization token");
}

KeyPtr Access::Login(std::string_view basic_header) const {
  const auto [id, secret] = ParseBasic(basic_header);
  base::Lock lock(mutex_);
  const auto found = keys_.find(id);
  if (found == keys_.end() || found->second->secret != secret) return nullptr;
  return HasExpired(*found->second) ? nullptr : found->second;
}

std::string Access::IssueAccountToken(const KeyPtr& key) {
  std::string token = NewToken("acct");
  base::Lock lock(mutex_);
  account_tokens_[token] = {key, Clock::now() + token_life_};
  return token;
}

KeyPtr Access::CheckAccountToken(const std::string& token) const {
  CheckToken(token);
  base::Lock lock(mutex_);
  const auto found = account_tokens_.find(token);
  if (found == account_tokens_.end()) throw UnknownToken(token);
  CheckLife(found->second.expires);
  return found->second.key;
}

std::shared_ptr<const UploadTicket> Access::IssueUpload(const std::string& target,
                                                        const KeyPtr& key) {
  auto ticket = std::make_shared<UploadTicket>();
  ticket->token = NewToken("upld");
  ticket->path = target + "/c001_v0001000_" + RandomHex(12);
  ticket->target = target;
  ticket->key = key;
  ticket->expires = Clock::now() + token_life_;
  base::Lock lock(mutex_);
  upload_tokens_[ticket->token] = ticket;
  return ticket;
}

UploadPass Access::BeginUpload(const std::string& token, const std::string& path) const {
  CheckToken(token);
  base::Lock lock(mutex_);
  const auto found = upload_tokens_.find(token);
  if (found == upload_tokens_.end() || found->second->path != path) {
    throw UnknownToken(token);
  }
  CheckLife(found->second->expires);
  if (found->second->busy.exchange(true)) {
    throw BadRequest("more than one upload using auth token " + token);
  }
  return UploadPass(found->second);
}

std::string Access::IssueDownload(DownloadGrant grant) {
  std::string token = NewToken("dnld");
  base::Lock lock(mutex_);
  download_tokens_[token] = std::move(grant);
  return token;
}

std::optional<DownloadGrant> Access::FindDownload(const std::string& token) const {
  base::Lock lock(mutex_);
  const auto found = download_tokens_.find(token);
  if (found == download_tokens_.end()) return std::nullopt;
  CheckLife(found->second.expires);
  return found->second;
}

void Access::ExpireAll() {
  const auto now = Clock::now();
  base::Lock lock(mutex_);
  for (auto& [token, held] : account_tokens_) held.expires = now;
  for (auto& [token, held] : upload_tokens_) held->expires = now;
  for (auto& [token, held] : download_tokens_) held.expires = now;
}

void Access::ExpireAccountToken(const std::string& token) {
  base::Lock lock(mutex_);
  const auto found = account_tokens_.find(token);
  if (found != account_tokens_.end()) found->second.expires = Clock::now();
}

void Access::ExpireUploads() {
  base::Lock lock(mutex_);
  for (auto& [token, held] : upload_tokens_) held->expires = Clock::now();
}

void Access::ExpireUpload(const std::string& token) {
  base::Lock lock(mutex_);
  const auto found = upload_tokens_.find(token);
  if (found != upload_tokens_.end()) found->second->expires = Clock::now();
}

KeyPtr Access::AddKey(Key wanted) {
  wanted.id = "001" + account_id_ + RandomHex(10);
  wanted.secret = "K001" + RandomHex(27);
  auto key = std::make_shared<const Key>(std::move(wanted));
  base::Lock lock(mutex_);
  ledger_->Put(*key);
  keys_[key->id] = key;
  return key;
}

void Access::Replace(const std::vector<KeyPtr>& keys) {
  base::Lock lock(mutex_);
  ledger_->Replace(keys);
  std::erase_if(keys_, [this](const auto& entry) { return entry.first != account_id_; });
  for (const KeyPtr& key : keys) keys_[key->id] = key;
  std::set<KeyPtr> valid(keys.begin(), keys.end());
  valid.insert(keys_.at(account_id_));
  std::erase_if(account_tokens_,
                [&valid](const auto& entry) { return !valid.contains(entry.second.key); });
  upload_tokens_.clear();
  download_tokens_.clear();
}

void Access::Restore(const std::vector<KeyPtr>& keys) {
  base::Lock lock(mutex_);
  for (const KeyPtr& key : keys) keys_[key->id] = key;
}

std::vector<KeyPtr> Access::Keys() const {
  base::Lock lock(mutex_);
  std::vector<KeyPtr> keys;
  for (const auto& [id, key] : keys_) {
    if (id != account_id_) keys.push_back(key);
  }
  return keys;
}

KeyPtr Access::DeleteKey(const std::string& key_id) {
  base::Lock lock(mutex_);
  const auto found = keys_.find(key_id);
  if (found == keys_.end() || key_id == account_id_) {
    throw BadRequest("Application key not found: " + key_id);
  }
  KeyPtr key = found->second;
  ledger_->ForgetKey(key_id);
  keys_.erase(found);
  std::erase_if(account_tokens_, [&](const auto& entry) { return entry.second.key == key; });
  std::erase_if(upload_tokens_, [&](const auto& entry) { return entry.second->key == key; });
  return key;
}

}  // namespace emulator
