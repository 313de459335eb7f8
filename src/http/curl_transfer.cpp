#include "http/curl_transfer.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

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

long long SizeOf(const RequestBody& body) {
  if (body.size != -1) return body.size;
  return body.read_data != nullptr ? static_cast<const BufferCursor*>(body.read_data)->length
                                   : static_cast<long long>(body.query.size());
}

// The body that a fresh BufferCursor would read, or null. libcurl sends a body that it is shown in
// one packet with the headers; one that it has to read follows in a packet of its own, for which
// the server waits.
const char* TextInMemory(const RequestBody& body, long long size) {
  if (body.read_function != CallbackPointer(&read_callback_buf_func) || body.read_data == nullptr) {
    return nullptr;
  }
  const auto* cursor = static_cast<const BufferCursor*>(body.read_data);
  return cursor->position == 0 && cursor->length == size ? cursor->data : nullptr;
}

}  // namespace

CurlTransfer::CurlTransfer(const EasyHandle& easy, const std::string& url, HeaderList headers)
    : easy_(easy), headers_(std::move(headers)) {
  easy_.Set(CURLOPT_URL, url.c_str());
  easy_.Set(CURLOPT_HTTPHEADER, headers_.get());
}

// Headers arrive in the same stream, ahead of the body.
void CurlTransfer::Collect() {
  collected_.reset(evbuffer_new());
  if (!collected_) throw std::bad_alloc();
  easy_.Set(CURLOPT_HEADER, 1L);
  easy_.Set(CURLOPT_WRITEDATA, collected_.get());
  easy_.Set(CURLOPT_WRITEFUNCTION, &write_callback_ev_func);
}

void CurlTransfer::DeliverTo(void* write_function, void* write_data) {
  easy_.Set(CURLOPT_HEADER, 0L);
  easy_.Set(CURLOPT_WRITEDATA, write_data);
  easy_.Set(CURLOPT_WRITEFUNCTION, write_function);
}

void CurlTransfer::Send(const RequestBody& body) {
  const long long size = SizeOf(body);
  if (body.size == -1 && body.read_data != nullptr && body.read_function != nullptr) {
    easy_.Set(CURLOPT_SEEKFUNCTION, &read_callback_buf_seek_func);
    easy_.Set(CURLOPT_SEEKDATA, body.read_data);
  }
  if (body.mime != nullptr) {
    easy_.Set(CURLOPT_MIMEPOST, body.mime);
  } else {
    easy_.Set(CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t{size});
    // Null, or an earlier body on this object would go before the reader.
    easy_.Set(CURLOPT_POSTFIELDS, TextInMemory(body, size));
  }
  if (body.read_function != nullptr) {
    easy_.Set(CURLOPT_READFUNCTION, body.read_function);
    if (body.read_data != nullptr) easy_.Set(CURLOPT_READDATA, body.read_data);
  } else {
    easy_.Set(CURLOPT_POSTFIELDS, body.query.c_str());
  }
}

_CURLRTN CurlTransfer::Run(char* error_text) {
  _CURLRTN result;
  error_text[0] = '\0';
  result.code = curl_easy_perform(easy_.get());
  result.errorText = error_text;
  if (result.code == CURLE_OK) ReadAnswer(result);
  return result;
}

void CurlTransfer::ReadAnswer(_CURLRTN& result) const {
  CURL* easy = easy_.get();
  result.httpCode = LongInfo(easy, CURLINFO_RESPONSE_CODE);
  result.downloadSpeed = static_cast<double>(OffsetInfo(easy, CURLINFO_SPEED_DOWNLOAD_T));
  result.uploadSpeed = static_cast<double>(OffsetInfo(easy, CURLINFO_SPEED_UPLOAD_T));
  if (!collected_) return;

  const std::size_t received = evbuffer_get_length(collected_.get());
  const auto headers = static_cast<std::size_t>(LongInfo(easy, CURLINFO_HEADER_SIZE));
  const std::size_t header_size = std::min(headers, received);
  result.headerSize = static_cast<long>(header_size);
  result.bodyLength = static_cast<int>(received - header_size);
  result.headerBlock = TakeOut(collected_.get(), header_size, 1);
  result.body = TakeOut(collected_.get(), received - header_size, 0);
}
