#include <algorithm>
#include <set>

#include "emulator/calls.h"
#include "emulator/errors.h"

namespace emulator {
namespace {

using nlohmann::json;

// Empty: every type.
std::set<std::string> WantedTypes(const Args& args) {
  static const std::set<std::string> known{"all",      "allPublic",  "allPrivate",
                                           "snapshot", "restricted", "shared"};
  if (!args.Has("bucketTypes")) return {"allPublic", "allPrivate", "snapshot"};
  const std::vector<std::string> asked = args.Texts("bucketTypes");
  const std::set<std::string> types(asked.begin(), asked.end());
  const bool all_known = std::all_of(types.begin(), types.end(),
                                     [](const auto& type) { return known.contains(type); });
  if (types.empty() || !all_known || (types.contains("all") && types.size() > 1)) {
    throw BadRequest("Invalid bucketTypes");
  }
  return types.contains("all") ? std::set<std::string>{} : types;
}

void CheckStorableType(const std::string& type) {
  if (type != "allPublic" && type != "allPrivate") throw BadRequest("Invalid bucketType: " + type);
}

FileInfo BucketInfoArg(const Args& args) {
  FileInfo info = args.Info("bucketInfo");
  if (info.size() > 10) throw BadRequest("bucketInfo can have at most 10 keys");
  return info;
}

}  // namespace

json ListBuckets(const CallContext& call) {
  call.CheckAccount();
  const std::set<std::string> types = WantedTypes(call.args);
  const auto id = call.args.OptionalText("bucketId");
  const auto name = call.args.OptionalText("bucketName");
  const auto& own = call.key->bucket_id;
  json shown = json::array();
  bool own_named = false;
  for (const Bucket& bucket : call.store.Buckets()) {
    const bool named = (!id || *id == bucket.id) && (!name || *name == bucket.name);
    if (!named || (own && *own != bucket.id)) continue;
    own_named = true;
    if (types.empty() || types.contains(bucket.type)) {
      shown.push_back(BucketJson(bucket, call.dialect()));
    }
  }
  // Version 1 cuts the list down to the key's bucket; later ones want it to be asked for by name.
  if (own && call.version >= 2 && !((id || name) && own_named)) {
    throw ServiceError(401, "unauthorized", "Not authorized");
  }
  return {{"buckets", shown}};
}

json CreateBucket(const CallContext& call) {
  call.CheckAccount();
  if (call.key->bucket_id) throw ServiceError(401, "unauthorized", "Not authorized");
  Bucket wanted{.name = call.args.Text("bucketName"), .type = call.args.Text("bucketType")};
  CheckStorableType(wanted.type);
  wanted.info = BucketInfoArg(call.args);
  wanted.cors_rules = call.args.RawArray("corsRules").value_or("[]");
  wanted.lifecycle_rules = call.args.RawArray("lifecycleRules").value_or("[]");
  return BucketJson(call.store.CreateBucket(std::move(wanted)), call.dialect());
}

json UpdateBucket(const CallContext& call) {
  call.CheckAccount();
  const std::string bucket_id = call.BucketArg().id;
  BucketChange change;
  change.type = call.args.OptionalText("bucketType");
  if (change.type) CheckStorableType(*change.type);
  if (call.args.Has("bucketInfo")) change.info = BucketInfoArg(call.args);
  change.cors_rules = call.args.RawArray("corsRules");
  change.lifecycle_rules = call.args.RawArray("lifecycleRules");
  if (call.args.Has("ifRevisionIs")) change.if_revision_is = call.args.Number("ifRevisionIs");
  return BucketJson(call.store.UpdateBucket(bucket_id, change), call.dialect());
}

json DeleteBucket(const CallContext& call) {
  call.CheckAccount();
  return BucketJson(call.store.DeleteBucket(call.BucketArg().id), call.dialect());
}

}  // namespace emulator
