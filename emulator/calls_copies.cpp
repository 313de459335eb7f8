#include "emulator/calls.h"
#include "emulator/errors.h"
#include "emulator/ranges.h"

namespace emulator {
namespace {

using nlohmann::json;

// The finished version that field `sourceFileId` names, which the key must be allowed to read.
VersionPtr CopySource(const CallContext& call) {
  VersionPtr source = call.store.Find(call.args.Text("sourceFileId"));
  RequireCapability(*call.key, "readFiles");
  call.CheckReach(*source);
  if (source->action != Action::kUpload) throw NotFound("File not present: " + source->Id());
  return source;
}

// The source's bytes, or those of field `range`; both share the source's memory.
ContentPtr CopiedContent(const CallContext& call, const Version& source) {
  const uint64_t size = source.content->size();
  const auto range_text = call.args.OptionalText("range");
  const auto range = range_text ? ParseRange(*range_text, size) : ByteRange{0, size};
  if (!range) throw BadRequest("Invalid range: " + *range_text);
  if (range->length > kMaxUploadBytes) {
    throw ServiceError(400, "source_too_large",
                       "Copy source too big: " + std::to_string(range->length));
  }
  if (range->length == size) return source.content;
  auto copy = std::make_shared<Content>();
  copy->Append(*source.content, range->first, range->length);
  copy->sha1 = copy->ComputeSha1();
  return copy;
}

NewFile CopyTarget(const Args& args, const Version& source) {
  const std::string directive = args.Text("metadataDirective", "COPY");
  NewFile file{args.Text("fileName"), source.content_type, source.info};
  if (directive == "COPY") {
    if (args.Has("contentType") || args.Has("fileInfo")) {
      throw BadRequest("contentType and fileInfo need metadataDirective REPLACE");
    }
  } else if (directive == "REPLACE") {
    file.content_type = args.Text("contentType");
    file.info = args.Info("fileInfo");
  } else {
    throw BadRequest("Invalid metadataDirective: " + directive);
  }
  return file;
}

}  // namespace

json CopyFile(const CallContext& call) {
  const VersionPtr source = CopySource(call);
  const NewFile target = CopyTarget(call.args, *source);
  const std::string bucket_id = call.args.Text("destinationBucketId", *source->bucket_id);
  RequireBucket(*call.key, bucket_id);
  RequireName(*call.key, target.name);
  const VersionPtr copy = call.store.AddFile(bucket_id, target, CopiedContent(call, *source));
  json answer = FileJson(*copy, call.dialect());
  answer["action"] = "copy";
  return answer;
}

json CopyPart(const CallContext& call) {
  const VersionPtr source = CopySource(call);
  const std::string large_id = call.args.Text("largeFileId");
  call.CheckReach(*call.store.ActiveLarge(large_id));
  const int64_t number = call.args.Number("partNumber");
  ContentPtr content = CopiedContent(call, *source);
  if (content->sha1 == "none") {
    auto hashed = std::make_shared<Content>(*content);
    hashed->sha1 = hashed->ComputeSha1();
    content = hashed;
  }
  return PartJson(call.store.AddPart(large_id, number, content), large_id, call.dialect());
}

}  // namespace emulator
