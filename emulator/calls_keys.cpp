#include <chrono>

#include "emulator/calls.h"
#include "emulator/errors.h"
#include "emulator/timestamp.h"

namespace emulator {
namespace {

using nlohmann::json;

constexpr int64_t kDefaultKeyCount = 100;
constexpr int64_t kMaxKeyCount = 10'000;
constexpr int64_t kMaxKeySeconds = 86'400'000;

template <typename Value>
json OrNull(const std::optional<Value>& value) {
  return value ? json(*value) : json();
}

json KeyJson(const Key& key, const CallContext& call) {
  return {{"accountId", call.access.account_id()},      {"applicationKeyId", key.id},
          {"bucketId", OrNull(key.bucket_id)},          {"capabilities", key.capabilities},
          {"expirationTimestamp", OrNull(key.expires)}, {"keyName", key.name},
          {"namePrefix", OrNull(key.name_prefix)}};
}

int64_t TimestampIn(int64_t seconds) {
  if (seconds < 1 || seconds > kMaxKeySeconds) {
    throw BadRequest("validDurationInSeconds must be between 1 and 86400000");
  }
  return Timestamp(std::chrono::system_clock::now() + std::chrono::seconds(seconds));
}

}  // namespace

json ListKeys(const CallContext& call) {
  call.CheckAccount();
  const int64_t count = call.args.Number("maxKeyCount", kDefaultKeyCount);
  if (count < 1 || count > kMaxKeyCount) throw BadRequest("maxKeyCount out of range");
  const std::string start = call.args.Text("startApplicationKeyId", "");
  json answer{{"keys", json::array()}, {"nextApplicationKeyId", nullptr}};
  for (const KeyPtr& key : call.access.Keys()) {
    if (key->id < start) continue;
    if (answer["keys"].size() == static_cast<size_t>(count)) {
      answer["nextApplicationKeyId"] = key->id;
      break;
    }
    answer["keys"].push_back(KeyJson(*key, call));
  }
  return answer;
}

json CreateKey(const CallContext& call) {
  call.CheckAccount();
  Key wanted{.name = call.args.Text("keyName")};
  for (const std::string& capability : call.args.Texts("capabilities")) {
    if (!AllCapabilities().contains(capability)) {
      throw BadRequest("Invalid capability: " + capability);
    }
    wanted.capabilities.insert(capability);
  }
  if (wanted.capabilities.empty()) throw BadRequest("capabilities must not be empty");
  if (call.args.Has("bucketId")) wanted.bucket_id = call.BucketArg().id;
  wanted.name_prefix = call.args.OptionalText("namePrefix");
  if (call.args.Has("validDurationInSeconds")) {
    wanted.expires = TimestampIn(call.args.Number("validDurationInSeconds"));
  }
  const KeyPtr key = call.access.AddKey(std::move(wanted));
  json answer = KeyJson(*key, call);
  answer["applicationKey"] = key->secret;
  return answer;
}

json DeleteKey(const CallContext& call) {
  return KeyJson(*call.access.DeleteKey(call.args.Text("applicationKeyId")), call);
}

}  // namespace emulator
