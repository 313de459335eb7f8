#pragma once

#include "b2/backblaze_b2.h"
#include "b2/request_pool.h"
#include "http/transfer_callbacks.h"
#include "protocol/file_list.h"
#include "tests/fuzz/input.h"
#include "tests/support/host_fakes.h"

namespace fuzz {

// One transfer that the module wants made.
struct Transfer {
  BackBlazeB2CURL& request;
  std::string body;                // of a POST
  DownloadState* download;         // takes what comes; null for an answer's body
  std::function<_CURLRTN()> send;  // makes it with libcurl
};

// Requests of the module's pool that are answered here.
class ScriptedRequest final : public BackBlazeB2CURL {
 public:
  using Answerer = std::function<_CURLRTN(const Transfer&)>;
  using BackBlazeB2CURL::PerformPost;

  // All transfers of the module go to `answer` from now on.
  static void AnswerWith(Answerer answer) {
    for (; made_ < 4; ++made_) cq.PutCURL(std::make_shared<ScriptedRequest>());
    answer_ = std::move(answer);
  }

  _CURLRTN PerformGet(void* write, void* data) override {
    return answer_({*this, "", static_cast<DownloadState*>(data),
                    [&] { return CURLImpl::PerformGet(write, data); }});
  }
  _CURLRTN PerformPost(void* read, void* data, long long size) override {
    std::string body(64, '\0');
    if (read == CallbackPointer(&read_callback_buf_func)) {
      const auto& text = *static_cast<BufferCursor*>(data);
      body.assign(text.data, static_cast<std::size_t>(text.length));
    } else {
      auto& contents = *static_cast<UploadState*>(data);
      read_callback_cache_func(body.data(), 1, body.size(), &contents);
      read_callback_cache_seek_func(&contents, 0, SEEK_SET);
    }
    return answer_(
        {*this, body, nullptr, [=, this] { return CURLImpl::PerformPost(read, data, size); }});
  }

 private:
  static inline Answerer answer_;
  static inline int made_ = 0;
};

inline _CURLRTN AnswerOf(int status, const std::string& body) {
  _CURLRTN result;
  result.httpCode = status;
  result.bodyLength = static_cast<int>(body.size());
  result.body = std::shared_ptr<char>(new char[body.size()], std::default_delete<char[]>());
  body.copy(result.body.get(), body.size());
  return result;
}

// "STATUS BODY", or "!CODE" for what libcurl ends with. Not 429, which is waited out.
inline _CURLRTN AnswerOf(const std::string& line) {
  Input words(line.substr(line.starts_with('!') ? 1 : 0));
  const int number = static_cast<int>(words.Number(600));
  if (line.starts_with('!')) {
    _CURLRTN result;
    result.code = std::clamp<int>(number, 1, CURL_LAST - 1);
    return result;
  }
  return AnswerOf(number < 200 || number == 429 ? 200 : number, words.Rest());
}

// "OPERATION NUMBER TEXT" on a drive, of a file or folder by that name.
inline AERROR Operate(BackBlazeB2& drive, Input words) {
  const char operation = words.Pick("lifmudDr");
  const std::uint64_t number = words.Number(64);
  const std::string text = words.Rest();
  _FS_FILE_V2 record;
  record.name = text;
  record.id = number % 2 == 0 ? "bucket/" + text : text;
  record.type = operation == 'f' ? FS_DIRECTORY : FS_FILE;
  record.size = number;
  FileList list;
  MemoryCache cache(std::string(number, 'x'));
  FetchedBytes bytes;
  switch (operation) {
    case 'l':
      return drive.GetFileList(text.c_str(), &list, nullptr);
    case 'm':
      return drive.CreateDirectory(number % 2 == 0 ? "" : "bucket", &record, nullptr);
    case 'u':
      return drive.Upload("bucket", NewHandle(), &cache, &record, UPLOAD_DEFAULT, nullptr);
    case 'd':
      return drive.Delete(&record, nullptr);
    case 'D':
      return drive.DeleteDirectory(&record, nullptr);
    case 'r':
      return drive.Read(record.id.c_str(), 0, 9, NewHandle(), &bytes, nullptr);
    default:
      return drive.GetFileInfo(record.id.c_str(), &record, nullptr);
  }
}

}  // namespace fuzz
