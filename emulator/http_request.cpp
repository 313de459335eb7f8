#include "emulator/http_request.h"

#include <array>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <chrono>
#include <cstdint>
#include <utility>

#include "emulator/errors.h"
#include "emulator/hosts.h"

namespace emulator {
namespace {

namespace beast = boost::beast;
namespace http = boost::beast::http;

constexpr uint32_t kHeaderLimit = 64 * 1024;

}  // namespace

HttpRequest::HttpRequest(Stream& stream, beast::flat_buffer& buffer)
    : stream_(stream), sync_(stream), buffer_(buffer) {
  // Bounds what the parser does not: the extensions of a chunk, and the fields behind the last.
  buffer_.max_size(size_t{2} * kHeaderLimit);
  parser_.header_limit(kHeaderLimit);
  parser_.body_limit(boost::none);
}

bool HttpRequest::ReadHeader() {
  beast::error_code error;
  http::read_header(sync_, buffer_, parser_, error);
  if (error == http::error::end_of_stream || error == http::error::partial_message) return false;
  if (error) throw BadRequest(error.message());
  NoteHeader();
  return true;
}

void HttpRequest::NoteHeader() {
  const auto& message = parser_.get();
  Request& record = incoming_.record;
  record.arrived = std::chrono::steady_clock::now();
  record.method = message.method_string();
  record.target = message.target();
  for (const auto& field : message) record.headers.emplace_back(field.name_string(), field.value());
  record.host = HostOf(record.Header("Host"));
  if (const auto length = parser_.content_length()) incoming_.content_length = *length;
  awaits_leave_ =
      beast::iequals(message[http::field::expect], "100-continue") && !parser_.is_done();
}

size_t HttpRequest::Read(char* data, size_t size) {
  if (std::exchange(awaits_leave_, false)) GiveLeave();
  if (parser_.is_done() || size == 0) return 0;
  parser_.get().body().data = data;
  parser_.get().body().size = size;
  beast::error_code error;
  http::read(sync_, buffer_, parser_, error);
  if (error && error != http::error::need_buffer) throw Aborted{};
  const size_t got = size - parser_.get().body().size;
  incoming_.record.body_bytes += got;
  return got;
}

void HttpRequest::GiveLeave() {
  http::response<http::empty_body> response{http::status::continue_, 11};
  http::write(sync_, response);
  stream_.Flush();
}

void HttpRequest::Drain() {
  std::array<char, size_t{64} * 1024> scratch;
  while (!awaits_leave_ && Read(scratch.data(), scratch.size()) > 0) {
  }
}

}  // namespace emulator
