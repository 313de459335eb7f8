#include <algorithm>
#include <chrono>
#include <deque>
#include <utility>

#include "b2/backblaze_b2.h"
#include "b2/file_details.h"
#include "b2/file_records.h"
#include "b2/large_file_end.h"
#include "b2/part_sender.h"
#include "b2/paths.h"
#include "b2/range_hash.h"
#include "http/transfer_callbacks.h"
#include "protocol/log.h"
#include "protocol/log_lines.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr long long kUsualPartBytes = 100'000'000;
constexpr long long kMostPartBytes = 5'000'000'000;
constexpr char kWholeSha1[] = "large_file_sha1";

// Whether the host says the SHA-1 of what it hands over.
bool SaysSha1(const Options& options, const _FS_FILE_V2& record) {
  const std::string text = std::string("info.") + kWholeSha1 + "=";
  const auto says = [&](const std::string& other) { return other.starts_with(text); };
  return options.file_details && std::ranges::any_of(record.texts, says);
}

// Tells the host of an upload's progress.
class Progress {
 public:
  Progress(const std::shared_ptr<_FS_HANDLE>& handle, long long total)
      : handle_(handle), total_(total) {}

  // What a part that goes again had sent is not taken back.
  void Show(long long bytes) {
    bytes = std::min(bytes, total_);
    if (!handle_ || bytes <= shown_) return;
    shown_ = bytes;
    if (handle_->transfer) handle_->transfer->offset = bytes;
    if (handle_->progress == nullptr) return;
    const std::chrono::duration<double> time = Clock::now() - begin_;
    const double speed = static_cast<double>(bytes) / std::max(time.count(), 0.001);
    handle_->progress(total_, bytes, handle_->progress_context, speed);
  }

 private:
  const std::shared_ptr<_FS_HANDLE>& handle_;
  const long long total_;
  const Clock::time_point begin_ = Clock::now();
  long long shown_ = -1;
};

}  // namespace

// Writes one large file in parts, several at once: found or started, parts, finish. The calling
// thread sends none: it shows the progress and hands on the log lines of the threads that do.
class BackBlazeB2::PartsUpload {
 public:
  // `options` and `record` must outlive the upload; the record's size in bytes is what is sent.
  PartsUpload(BackBlazeB2& protocol, const Options& options, ItemPath object,
              FileAttributes attributes, std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
              _FS_FILE_V2& record, long long part_size)
      : protocol_(protocol),
        options_(options),
        object_(std::move(object)),
        attributes_(std::move(attributes)),
        handle_(std::move(handle)),
        cache_(cache),
        record_(record),
        plan_(PartPlan::Of(static_cast<long long>(record.size), part_size)),
        stop_([this] { return GivenUp(handle_); }),
        progress_(handle_, plan_.size) {}

  ~PartsUpload() { protocol_.large_files_.Remove(file_id_); }

  AERROR Run() {
    AERROR result = Prepare();
    if (result == AERROR::SUCCESS && options_.resume_uploads) Resume();
    const bool resumed = !file_id_.empty();
    if (result == AERROR::SUCCESS) result = StartAndSend();
    // Another client finished or canceled what was found.
    if (resumed && gone_ && result == AERROR::FAILED) {
      Forget();
      result = StartAndSend();
    }
    if (result != AERROR::SUCCESS) Abandon();
    return result != AERROR::SUCCESS && stop_() ? AERROR::UPLOAD_CANCELED : result;
  }

 private:
  // What the large file is started with. The size tells a later try that it is of this file.
  AERROR Prepare() {
    JsonObject info = InfoMembers(attributes_);
    info["src_size"] = std::to_string(plan_.size);
    if (options_.hash_before && !attributes_.info.contains(kWholeSha1)) {
      const auto sha1 = HashRange({cache_, handle_, 0, plan_.size}, stop_);
      if (!sha1) return AERROR::UPLOAD_CANCELED;
      info[kWholeSha1] = *sha1;
    }
    start_ = Members({{"bucketId", object_.container},
                      {"fileName", object_.rest},
                      {"contentType", attributes_.content_type}});
    start_.Insert("fileInfo", info);
    return AERROR::SUCCESS;
  }

  // Takes the newest large file that an earlier try left, if its parts can be this file's. One that
  // cannot be looked for is none.
  void Resume() {
    std::vector<std::string> file_ids;
    if (protocol_.ListUnfinished(stop_, options_, start_, file_ids) != AERROR::SUCCESS) return;
    for (const std::string& file_id : file_ids) {
      if (!protocol_.large_files_.Add(file_id)) continue;
      file_id_ = file_id;
      const AERROR listed = protocol_.ListParts(stop_, options_, file_id, stored_);
      const int last = stored_.empty() ? 0 : stored_.rbegin()->first;
      if (listed == AERROR::SUCCESS && last <= plan_.Count()) return;
      Forget();
    }
  }

  void Forget() {
    protocol_.large_files_.Remove(file_id_);
    file_id_.clear();
    stored_.clear();
  }

  AERROR StartAndSend() {
    gone_ = false;
    AERROR result = file_id_.empty() ? Start() : AERROR::SUCCESS;
    if (result == AERROR::SUCCESS) result = SendParts();
    return result == AERROR::SUCCESS ? Finish() : result;
  }

  AERROR Start() {
    const AERROR result =
        protocol_.StartLargeFile(stop_, options_, start_, StaysAfterFailure(), file_id_);
    if (!file_id_.empty()) protocol_.large_files_.Add(file_id_);
    return result;
  }

  AERROR SendParts();
  AERROR Send(SharedUpload& upload, int count);

  AERROR Finish() {
    LargeFileEnd end(protocol_, options_, stop_, {object_.container, file_id_}, std::move(sha1s_),
                     record_);
    const AERROR result = end.Run();
    gone_ = end.gone();
    return result;
  }

  bool StaysAfterFailure() const {
    return options_.resume_uploads || !options_.cancel_failed_uploads;
  }

  // A canceled upload does not wait for a service that does not answer.
  void Abandon() {
    if (file_id_.empty() || StaysAfterFailure()) return;
    const auto end = Clock::now() + std::chrono::seconds(1);
    protocol_.DiscardLargeFile(options_, file_id_,
                               [this, end] { return stop_() && Clock::now() >= end; });
  }

  BackBlazeB2& protocol_;
  const Options& options_;
  const ItemPath object_;
  const FileAttributes attributes_;
  const std::shared_ptr<_FS_HANDLE> handle_;
  ICacheIO* const cache_;
  _FS_FILE_V2& record_;
  const PartPlan plan_;
  const Stop stop_;
  Progress progress_;

  JsonObject start_ = JsonObject::GetEmptyObject();
  std::string file_id_;  // claimed while it is not empty
  StoredParts stored_;
  std::vector<std::string> sha1s_;
  bool gone_ = false;  // the service does not know the large file any more
};

AERROR BackBlazeB2::PartsUpload::SendParts() {
  const int count = std::min(options_.upload_connections, plan_.Count());
  const long long limit = options_.speed_limit;
  SharedUpload upload{options_,
                      cache_,
                      handle_,
                      file_id_,
                      std::move(stored_),
                      limit > 0 ? std::max(limit / count, 1LL) : limit,
                      {false},
                      PartBoard(plan_)};
  const AERROR result = Send(upload, count);
  gone_ = upload.gone;
  sha1s_ = upload.board.Sha1s();
  return result == AERROR::SUCCESS && !upload.board.IsComplete() ? AERROR::FAILED : result;
}

AERROR BackBlazeB2::PartsUpload::Send(SharedUpload& upload, int count) {
  std::deque<PartSender> senders;
  for (int i = 0; i < count; ++i) senders.emplace_back(protocol_, upload);
  const auto show = [&] {
    long long bytes = upload.board.BytesDone();
    for (const PartSender& sender : senders) bytes += sender.BytesSending();
    progress_.Show(bytes);
    if (stop_()) upload.workers.Fail(AERROR::UPLOAD_CANCELED);
  };
  const auto send = [&](int number, LogRelay& log) {
    return senders[static_cast<std::size_t>(number)].Run(log);
  };
  return upload.workers.Run(count, send, show);
}

long long BackBlazeB2::PartSize(long long wanted) const {
  if (wanted >= absolute_minimum_part_size_ && wanted > 0) return wanted;
  if (wanted > 0) {
    __LOG__A(logger, LOGLEVEL_WARNING,
             "[PROTOCOL  ] Upload >> Parts of %lld bytes are smaller than the service takes",
             wanted);
  }
  const long long usual = recommended_part_size_ > 0 ? recommended_part_size_ : kUsualPartBytes;
  return std::min(usual, kMostPartBytes);
}

// Each part costs its connection a round trip. The file's size alone decides, so that a later try
// has the same parts.
long long BackBlazeB2::UploadPartSize(const Options& options, long long size) const {
  constexpr long long kParts = 64;
  const long long least = PartSize(options.upload_part_size);
  return std::max(least, std::min(size / kParts + 1, options.upload_part_size_max));
}

AERROR BackBlazeB2::UploadInParts(const Options& options, const char* path,
                                  std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
                                  _FS_FILE_V2* info, char** msg) {
  const auto size = static_cast<long long>(info->size);
  const long long part_size = UploadPartSize(options, size);
  if (size <= part_size) {
    return UploadUsingPost(options, path, std::move(handle), cache, info, msg, false);
  }
  if (*path == '\0' || info->name.empty() || cache == nullptr) return AERROR::FAILED;
  ItemPath object = SplitNormalized(std::string(path) + "/" + info->name);
  if (object.container.empty() || object.rest.empty()) return AERROR::ACCESS_DENIED;
  // src_size, large_file_sha1
  const int own = options.hash_before && !SaysSha1(options, *info) ? 2 : 1;
  FileAttributes attributes;
  const AERROR described = GetAttributes(options, *info, object.rest, attributes, own);
  if (described != AERROR::SUCCESS) return described;
  return PartsUpload(*this, options, std::move(object), std::move(attributes), std::move(handle),
                     cache, *info, part_size)
      .Run();
}
