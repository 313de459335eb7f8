#include <algorithm>
#include <tuple>

#include "conform/cases.h"
#include "conform/drive.h"

// Upload: in one request below the part size that the service recommends, in parts from there on.
namespace conform {
namespace {

constexpr char kUpload[] = "b2_upload_file";
constexpr char kUploadUrl[] = "b2_get_upload_url";
constexpr char kStart[] = "b2_start_large_file";
constexpr char kPartUrl[] = "b2_get_upload_part_url";
constexpr char kUploadPart[] = "b2_upload_part";
constexpr char kFinish[] = "b2_finish_large_file";

void StoresWhatItReads() {
  Drive drive(kSmallParts);
  for (const std::size_t size :
       {std::size_t{0}, std::size_t{1}, kPart - 1, kPart + 1, 2 * kPart, 2 * kPart + 50'001}) {
    Cache cache(Bytes(size, static_cast<int>(size)));
    _FS_FILE_V2 file = RecordOf("f" + std::to_string(size), size);
    const Handle handle = NewHandle();
    const std::string what = std::to_string(size) + " bytes";
    Equal("Upload of " + what, drive.Upload(drive.Id("dir"), cache, file, handle), SUCCESS);
    Equal("identifier, " + what, file.id,
          drive.Id(drive.service.Versions("dir/" + file.name).at(0)));
    // In parts the type stays as it was.
    if (size < kPart) Equal("type, " + what, +file.type, +FS_FILE);
    Equal("size, " + what, file.size, size);
    True("times, " + what, file.first_time.size() >= 20 && file.first_time == file.third_time);
    True("stored, " + what,
         drive.service.Download(drive.service.Versions("dir/" + file.name)[0]) == cache.bytes);
    if (size > 0) True("read back, " + what, drive.ReadAll(file.id, size) == cache.bytes);
    Equal("reads of other threads, " + what, cache.foreign_calls.load(), 0);
    Equal("reads beyond the end, " + what, cache.reads_beyond.load(), 0);
    if (size > 0) True("reads with the handle, " + what, cache.handle == handle.get());
    if (size > 0) Equal("bytes read, " + what, handle->transfer->offset.load(), size);
  }
  Equal("what is left unfinished", drive.service.UnfinishedFiles(), 0);
}

void NamesFiles() {
  Drive drive;
  const std::string bucket = drive.service.bucket();
  const std::tuple<std::string, const char*, const char*, const char*> rows[] = {
      {bucket, "a.txt", "a.txt", "text/plain"},
      {bucket + "/p", "b c+%&=?#.JPG", "p/b c+%&=?#.JPG", "image/jpeg"},
      {"/" + bucket + "//p/", "\xC3\xBC", "p/\xC3\xBC", "application/octet-stream"},
      {bucket, "archive.tar.css", "archive.tar.css", "text/css"},
      {bucket, "ends with.", "ends with.", "application/octet-stream"},
      {bucket, "a.mp4", "a.mp4", "video/mp4"}};
  for (const auto& [parent, name, stored, type] : rows) {
    Cache cache(std::string("contents of ") + name);
    _FS_FILE_V2 file = RecordOf(name, cache.bytes.size());
    Equal(std::string("Upload of ") + name, drive.Upload(parent, cache, file), SUCCESS);
    Equal(std::string("content type of ") + name,
          drive.service.Newest(stored).value("contentType", ""), std::string(type));
  }
  Equal("another version", drive.Upload("a.txt", "newer"), SUCCESS);
  Equal("versions then", drive.service.Versions("a.txt").size(), 2);
}

void RefusesOddArguments() {
  Drive drive(kSmallParts);
  drive.service.Forget();
  Cache cache("1");
  const std::string bucket = drive.service.bucket();
  const std::tuple<const char*, const char*, std::uint64_t, ICacheIO*, AERROR> rows[] = {
      {nullptr, "f", 1, &cache, ACCESS_DENIED}, {"", "f", 1, &cache, FAILED},
      {"b", "", 1, &cache, ACCESS_DENIED},      {"b", "f", 1, nullptr, FAILED},
      {"b", "f", UINT64_MAX, &cache, FAILED},   {"/", "f", 1 << 20, &cache, ACCESS_DENIED}};
  for (const auto& [parent, name, size, from, code] : rows) {
    _FS_FILE_V2 file = RecordOf(name, size);
    Equal(std::string("[") + (parent == nullptr ? "null" : parent) + "] [" + name + "] " +
              std::to_string(size),
          drive.object->Upload(parent, NewHandle(), from, &file, UPLOAD_DEFAULT, nullptr), code);
  }
  Equal("no record",
        drive.object->Upload("b", NewHandle(), &cache, nullptr, UPLOAD_DEFAULT, nullptr), FAILED);
  Equal("requests of those", drive.service.Calls(), Texts{});
}

void SendsParts() {
  Drive drive(kSmallParts);
  drive.service.Forget();
  Equal("Upload", drive.Upload("f.mp4", Bytes(2 * kPart + 5)), SUCCESS);
  Equal("requests", drive.service.Calls(),
        Texts{kStart, kPartUrl, kUploadPart, kUploadPart, kUploadPart, kFinish});
  const Json start = Json::parse(drive.service.Requests()[0].at("body").get<std::string>());
  Equal("type of the whole", start.value("contentType", ""), "video/mp4");
  Cache cache(Bytes(2 * kPart + 5));
  long long last = -1;
  bool ascend = true;
  cache.on_read = [&](long long offset) {
    ascend = ascend && offset > last;
    last = offset;
    return SUCCESS;
  };
  _FS_FILE_V2 file = RecordOf("g", cache.bytes.size());
  drive.Upload(drive.service.bucket(), cache, file);
  True("reads ascend", ascend);
}

AERROR Canceling(const Drive& drive, std::size_t size, long long at) {
  const Handle handle = NewHandle();
  Cache cache(Bytes(size));
  cache.largest_read = 1000;
  cache.on_read = [&](long long offset) {
    if (offset >= at) handle->transfer->state = TRANSFER_CANCELED;
    return SUCCESS;
  };
  _FS_FILE_V2 file = RecordOf("f", size);
  return drive.Upload(drive.service.bucket(), cache, file, handle);
}

void EndsWhenCanceled() {
  Drive drive(kSmallParts);
  for (const auto& [size, at] :
       {std::pair{90'000, 50'000}, {250'000, 0}, {250'000, 100'000}, {250'000, 210'000}}) {
    Equal("given up at " + std::to_string(at) + " of " + std::to_string(size),
          Canceling(drive, static_cast<std::size_t>(size), at), UPLOAD_CANCELED);
  }
  const std::pair<const char*, std::function<AERROR(long long)>> rows[] = {
      {"refuses", [](long long) { return CACHE_READ_FAILED; }},
      {"throws", [](long long) -> AERROR { throw std::runtime_error("disk"); }},
      {"ends early", [](long long) { return SUCCESS; }}};
  for (const auto& [what, on_read] : rows) {
    for (const std::size_t size : {std::size_t{90'000}, std::size_t{250'000}}) {
      Cache cache(Bytes(size));
      cache.on_read = on_read;
      _FS_FILE_V2 file = RecordOf("f", size + 1);
      Equal(std::string("a cache that ") + what, drive.Upload(drive.service.bucket(), cache, file),
            UPLOAD_CANCELED);
    }
  }
  Equal("what is stored", drive.service.Names(), Texts{});
}

void TellsProgress() {
  Drive drive(kSmallParts);
  for (const std::size_t size : {std::size_t{90'000}, std::size_t{250'000}}) {
    std::vector<std::pair<long long, long long>> seen;  // so far, total
    const Handle handle = NewHandle();
    handle->progress = [](long long total, long long now, void* context, double) {
      static_cast<decltype(seen)*>(context)->emplace_back(now, total);
    };
    handle->progress_context = &seen;
    Cache cache(Bytes(size));
    cache.largest_read = 1000;
    _FS_FILE_V2 file = RecordOf("f", size);
    drive.Upload(drive.service.bucket(), cache, file, handle);
    if (!True("is told of progress", !seen.empty())) continue;
    True("which only grows", std::is_sorted(seen.begin(), seen.end()));
    Equal("up to", seen.back().first, size);
    Equal("of", seen.back().second, size);
  }
}

struct Failure {
  std::size_t size;
  Json fault;
  AERROR code;
};

// What passes is begun again; what does not leaves no file.
void GetsOverFailures() {
  const Failure rows[] = {{9, {{"call", kUpload}, {"status", 401}}, SUCCESS},
                          {9, {{"call", kUpload}, {"status", 408}}, SUCCESS},
                          {9, {{"call", kUpload}, {"status", 429}}, SUCCESS},
                          {9, {{"call", kUpload}, {"status", 500}}, SUCCESS},
                          {9, {{"call", kUpload}, {"status", 503}}, FAILED},
                          {9, {{"call", kUpload}, {"status", 403}}, FAILED},
                          {9, {{"call", kUpload}, {"cutAfter", 0}}, FAILED},
                          {9, {{"call", kUpload}, {"status", 200}, {"body", "{}"}}, FAILED},
                          {9, {{"call", kUploadUrl}, {"status", 503}}, FAILED},
                          {9, {{"call", kUploadUrl}, {"status", 200}, {"body", "{}"}}, FAILED},
                          {250'000, {{"call", kStart}, {"status", 500}}, FAILED},
                          {250'000, {{"call", kPartUrl}, {"status", 503}}, FAILED},
                          {250'000, {{"call", kUploadPart}, {"status", 401}}, SUCCESS},
                          {250'000, {{"call", kUploadPart}, {"skip", 1}, {"status", 408}}, SUCCESS},
                          {250'000, {{"call", kUploadPart}, {"skip", 2}, {"status", 500}}, SUCCESS},
                          {250'000, {{"call", kUploadPart}, {"skip", 2}, {"status", 503}}, FAILED},
                          {250'000, {{"call", kFinish}, {"status", 401}}, SUCCESS},
                          {250'000, {{"call", kFinish}, {"status", 503}}, FAILED}};
  Drive drive(kSmallParts);
  Contents stored;
  for (const Failure& row : rows) {
    const std::string name = "f" + std::to_string(&row - rows);
    const std::string bytes = Bytes(row.size, static_cast<int>(&row - rows));
    drive.service.Fault(row.fault);
    Equal("Upload, " + row.fault.dump(), drive.Upload(name, bytes), row.code);
    drive.service.Heal();
    if (row.code == SUCCESS) stored[name] = bytes;
  }
  True("what is stored is what was said to be", drive.service.Stored() == stored);
}

}  // namespace

std::vector<Case> UploadingCases() {
  return {{"uploading.contents", StoresWhatItReads},    {"uploading.names", NamesFiles},
          {"uploading.arguments", RefusesOddArguments}, {"uploading.parts", SendsParts},
          {"uploading.canceled", EndsWhenCanceled},     {"uploading.progress", TellsProgress},
          {"uploading.failures", GetsOverFailures}};
}

}  // namespace conform
