#include "b2/copy_parts.h"

#include <algorithm>
#include <utility>

#include "b2/file_records.h"
#include "b2/guarded.h"
#include "b2/large_file_end.h"
#include "b2/repeats.h"
#include "protocol/log_lines.h"

namespace {

constexpr std::size_t kMostPairs = 10;

std::string RangeOf(const Part& part) {
  return "bytes=" + std::to_string(part.start) + "-" + std::to_string(part.start + part.length - 1);
}

}  // namespace

BackBlazeB2::PartsCopy::PartsCopy(BackBlazeB2& protocol, const Options& options,
                                  const _FS_FILE_V2& source, const ItemPath& target,
                                  long long part_size, _FS_FILE_V2& out)
    : protocol_(protocol),
      options_(options),
      source_id_(SplitNormalized(source.id).rest),
      target_(target),
      out_(out),
      plan_(PartPlan::Of(static_cast<long long>(source.size), part_size)),
      stop_([this] { return workers_.failed(); }),
      board_(plan_) {}

BackBlazeB2::PartsCopy::~PartsCopy() {
  if (file_id_.empty()) return;
  Guarded(AERROR::FAILED, [this] {
    return finished_ ? AERROR::SUCCESS : protocol_.DiscardLargeFile(options_, file_id_, {});
  });
  protocol_.large_files_.Remove(file_id_);
}

AERROR BackBlazeB2::PartsCopy::Run(const FileAttributes* attributes) {
  AERROR result = AERROR::SUCCESS;
  FileAttributes of_source;
  if (attributes == nullptr) result = ReadAttributes(of_source);
  if (result == AERROR::SUCCESS) result = Start(attributes == nullptr ? of_source : *attributes);
  if (result == AERROR::SUCCESS) result = CopyAll();
  if (result != AERROR::SUCCESS) return result;
  LargeFileEnd end(protocol_, options_, stop_, {target_.container, file_id_}, board_.Sha1s(), out_);
  result = end.Run();
  finished_ = result == AERROR::SUCCESS;
  return result;
}

AERROR BackBlazeB2::PartsCopy::ReadAttributes(FileAttributes& attributes) {
  const auto read = [&](JsonObject& answer) {
    attributes.content_type = static_cast<std::string>(Required(answer, "contentType"));
    JsonObject info = Required(answer, "fileInfo");
    if (info.IsValid()) {
      for (const std::string& key : info.GetKeys())
        attributes.info[key] = static_cast<std::string>(info[key.c_str()]);
    }
    // The service does not know it of what was put together from parts.
    const std::string sha1 = Sha1Of(answer);
    if (!sha1.empty() && attributes.info.size() < kMostPairs)
      attributes.info.try_emplace("large_file_sha1", sha1);
    return AERROR::SUCCESS;
  };
  BindQueryLogger(options_.query_logger);
  const auto body = [this] { return Members({{"fileId", source_id_}}); };
  return protocol_.Query(options_, protocol_.JsonCall(query::kFileInfo, call::kGetFileInfo, body),
                         OnSuccess(read));
}

AERROR BackBlazeB2::PartsCopy::Start(const FileAttributes& attributes) {
  JsonObject start = Members({{"bucketId", target_.container},
                              {"fileName", target_.rest},
                              {"contentType", attributes.content_type}});
  start.Insert("fileInfo", InfoMembers(attributes));
  const AERROR result = protocol_.StartLargeFile(stop_, options_, start, false, file_id_);
  if (!file_id_.empty()) protocol_.large_files_.Add(file_id_);
  return result;
}

AERROR BackBlazeB2::PartsCopy::CopyAll() {
  const auto job = [this](int, LogRelay& log) {
    while (!stop_()) {
      const std::optional<Part> part = board_.Take();
      if (!part) break;
      const AERROR result = CopyPart(*part);
      if (result != AERROR::SUCCESS) return result;
      log.Release();
    }
    return AERROR::SUCCESS;
  };
  const AERROR result =
      workers_.Run(std::min(options_.copy_connections, plan_.Count()), job, [] {});
  return result == AERROR::SUCCESS && !board_.IsComplete() ? AERROR::FAILED : result;
}

AERROR BackBlazeB2::PartsCopy::CopyPart(const Part& part) {
  Repeats repeats(stop_);
  for (;;) {
    const AERROR result = Attempt(part, repeats);
    if (!Passes(result)) return result;
    if (repeats.Next() != AERROR::RETRY) return result == AERROR::RETRY ? AERROR::FAILED : result;
  }
}

AERROR BackBlazeB2::PartsCopy::Attempt(const Part& part, Repeats& repeats) {
  const auto body = [&] {
    JsonObject request = Members(
        {{"sourceFileId", source_id_}, {"largeFileId", file_id_}, {"range", RangeOf(part)}});
    request.Insert("partNumber", JsonObject(std::to_string(part.number).c_str()));
    return request;
  };
  const auto again = [&](_CURLRTN&) { return repeats.Next(); };
  HandlerMap on_range = OnSuccess([&](JsonObject& answer) {
    // A range that was cut short would make another file.
    if (static_cast<long long>(ContentLength(answer)) != part.length) return AERROR::FAILED;
    board_.Done(part, BareSha1(Required(answer, "contentSha1")));
    return AERROR::SUCCESS;
  });
  on_range[500] = {again, ""};
  return protocol_.QueryUnless(stop_, options_,
                               protocol_.CopyCall(query::kCopyPart, call::kCopyPart, body),
                               std::move(on_range), {{408, {again, ""}}}, PassingFailures());
}
