#include <algorithm>
#include <cstdlib>

#include "http/curl_impl.h"
#include "http/transfer_callbacks.h"

namespace {

// The next `length` bytes of the buffer in a block of their own, with `extra` zero bytes behind;
// null when there are none.
std::shared_ptr<char> TakeOut(evbuffer* buffer, std::size_t length, std::size_t extra) {
  if (length == 0) return nullptr;
  std::shared_ptr<char> block(static_cast<char*>(std::calloc(length + extra, 1)), std::free);
  if (!block) throw std::bad_alloc();
  evbuffer_remove(buffer, block.get(), length);
  return block;
}

CaptureBuffer NewCapture() {
  CaptureBuffer buffer(evbuffer_new());
  if (!buffer) throw std::bad_alloc();
  return buffer;
}

// The body that a fresh BufferCursor would read, or null. libcurl sends a body that it is shown in
// one packet with the headers; one that it has to read follows in a packet of its own, for which
// the server waits.
const char* TextInMemory(void* read_function, void* read_data, long long size) {
  if (read_function != CallbackPointer(&read_callback_buf_func) || read_data == nullptr) {
    return nullptr;
  }
  const auto* cursor = static_cast<const BufferCursor*>(read_data);
  return cursor->position == 0 && cursor->length == size ? cursor->data : nullptr;
}

double Number(CURL* easy, CURLINFO which) {
  curl_off_t value = 0;
  curl_easy_getinfo(easy, which, &value);
  return static_cast<double>(value);
}

long Count(CURL* easy, CURLINFO which) {
  long value = 0;
  curl_easy_getinfo(easy, which, &value);
  return value;
}

}  // namespace

_CURLRTN CURLImpl::PerformGet(void* write_function, void* write_data) {
  if (!curl_) return Unavailable();
  _CURLRTN result;
  const CaptureBuffer captured = write_function == nullptr ? NewCapture() : nullptr;
  const HeaderList headers(BuildHeader());
  UseMethod("GET");
  Set(CURLOPT_URL, WithQuery(BuildQueryString(true)).c_str());
  Set(CURLOPT_HTTPHEADER, headers.get());
  Set(CURLOPT_HTTPGET, 1L);
  if (captured) {
    Capture(captured.get());
  } else {
    Set(CURLOPT_HEADER, 0L);
    Set(CURLOPT_WRITEDATA, write_data);
    Set(CURLOPT_WRITEFUNCTION, write_function);
  }
  Run(result);
  Harvest(result, captured.get());
  return result;
}

_CURLRTN CURLImpl::PerformPost(std::string body) {
  BufferCursor cursor{body.data(), 0, static_cast<long long>(body.size())};
  return PerformPost(CallbackPointer(&read_callback_buf_func), &cursor, -1);
}

_CURLRTN CURLImpl::PerformPost(void* read_function, void* read_data, long long size) {
  if (!curl_) return Unavailable();
  _CURLRTN result;
  const CaptureBuffer captured = NewCapture();
  const HeaderList headers(BuildHeader());
  const std::string query = BuildQueryString(true);
  UseMethod("POST");
  Set(CURLOPT_URL, (read_function != nullptr ? WithQuery(query) : url_).c_str());
  Set(CURLOPT_POST, 1L);
  Set(CURLOPT_HTTPHEADER, headers.get());
  Capture(captured.get());
  SendBody(read_function, read_data, size, query);
  Run(result);
  Harvest(result, captured.get());
  return result;
}

_CURLRTN CURLImpl::PerformHead() {
  if (!curl_) return Unavailable();
  _CURLRTN result;
  const CaptureBuffer captured = NewCapture();
  const HeaderList headers(BuildHeader());
  last_method_ = "HEAD";
  Set(CURLOPT_CUSTOMREQUEST, "HEAD");
  Set(CURLOPT_URL, WithQuery(BuildQueryString(true)).c_str());
  Set(CURLOPT_HTTPHEADER, headers.get());
  Set(CURLOPT_HTTPGET, 1L);
  Set(CURLOPT_NOBODY, 1L);
  Capture(captured.get());
  Run(result);
  Harvest(result, captured.get());
  return result;
}

_CURLRTN CURLImpl::Unavailable() const {
  _CURLRTN result;
  result.code = CURLE_FAILED_INIT;
  return result;
}

std::string CURLImpl::WithQuery(const std::string& query) const {
  if (query.empty()) return url_;
  return url_ + (url_.find('?') == std::string::npos ? "?" : "&") + query;
}

void CURLImpl::UseMethod(const char* natural) {
  if (method_.empty()) {
    last_method_ = natural;
  } else {
    Set(CURLOPT_CUSTOMREQUEST, method_.c_str());
  }
}

// Headers arrive in the same stream, ahead of the body.
void CURLImpl::Capture(evbuffer* buffer) {
  Set(CURLOPT_HEADER, 1L);
  Set(CURLOPT_WRITEDATA, buffer);
  Set(CURLOPT_WRITEFUNCTION, &write_callback_ev_func);
}

void CURLImpl::SendBody(void* read_function, void* read_data, long long size,
                        const std::string& query) {
  if (size == -1) {
    size = read_data != nullptr ? static_cast<BufferCursor*>(read_data)->length
                                : static_cast<long long>(query.size());
    if (read_data != nullptr && read_function != nullptr) {
      SetSeek(reinterpret_cast<curl_seek_callback>(&read_callback_buf_seek_func), read_data);
    }
  }
  if (mime_ != nullptr) {
    Set(CURLOPT_MIMEPOST, mime_);
  } else {
    Set(CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t{size});
    // Null, or an earlier body on this object would go before the reader.
    Set(CURLOPT_POSTFIELDS, TextInMemory(read_function, read_data, size));
  }
  if (read_function != nullptr) {
    Set(CURLOPT_READFUNCTION, read_function);
    if (read_data != nullptr) Set(CURLOPT_READDATA, read_data);
  } else {
    Set(CURLOPT_POSTFIELDS, query.c_str());
  }
}

void CURLImpl::Run(_CURLRTN& result) {
  error_buffer_[0] = '\0';
  result.code = curl_easy_perform(curl_.get());
  result.errorText = error_buffer_;
}

void CURLImpl::Harvest(_CURLRTN& result, evbuffer* captured) const {
  if (result.code != CURLE_OK) return;
  CURL* easy = curl_.get();
  result.httpCode = Count(easy, CURLINFO_RESPONSE_CODE);
  result.downloadSpeed = Number(easy, CURLINFO_SPEED_DOWNLOAD_T);
  result.uploadSpeed = Number(easy, CURLINFO_SPEED_UPLOAD_T);
  if (captured == nullptr) return;

  const std::size_t received = evbuffer_get_length(captured);
  const auto headers = static_cast<std::size_t>(Count(easy, CURLINFO_HEADER_SIZE));
  const std::size_t header_size = std::min(headers, received);
  result.headerSize = static_cast<long>(header_size);
  result.bodyLength = static_cast<int>(received - header_size);
  result.headerBlock = TakeOut(captured, header_size, 1);
  result.body = TakeOut(captured, received - header_size, 0);
}
