#include "emulator/connection.h"

#include <algorithm>
#include <array>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <chrono>
#include <ctime>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>

#include "emulator/beast_stream.h"
#include "emulator/control.h"
#include "emulator/exchange.h"
#include "emulator/hosts.h"
#include "emulator/message.h"
#include "emulator/pace.h"

namespace emulator {
namespace {

namespace beast = boost::beast;
namespace http = boost::beast::http;
using Parser = http::request_parser<http::buffer_body>;

constexpr uint32_t kHeaderLimit = 64 * 1024;
// Bounds what Beast's parser does not: the extensions of a chunk, and the fields behind the last.
constexpr size_t kBufferLimit = 2 * kHeaderLimit;

std::string HttpDate() {
  const time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  std::array<char, 64> text{};
  std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &utc);
  return text.data();
}

// What clients have stored or asked for must not begin a header of its own.
std::string OneLine(std::string value) {
  std::replace_if(
      value.begin(), value.end(), [](unsigned char c) { return c < 32 || c == 127; }, ' ');
  return value;
}

class Connection {
 public:
  Connection(Core& core, Stream& stream) : core_(core), stream_(stream), sync_(stream) {}

  void Run();

 private:
  class Body;

  bool ReadHeader();
  bool ServeRequest();
  bool ServeTunnel(Request& request);
  Incoming MakeIncoming() const;
  bool Finish(const PlannedAnswer& planned, const Request& request, Body& body);
  [[noreturn]] void EndAtFault(bool stall);
  void Send(const PlannedAnswer& planned, bool head, bool keep);
  void SendHeader(const Answer& answer, bool keep);
  void SendBody(const PlannedAnswer& planned, uint64_t length);
  // Return how many of the bytes they have sent.
  size_t SendAll(std::string_view bytes);
  size_t SendStep(std::string_view bytes, Pace pace);

  Core& core_;
  Stream& stream_;
  BeastStream sync_;
  beast::flat_buffer buffer_{kBufferLimit};
  std::optional<Parser> parser_;
  bool secure_ = false;
};

// The body of the request whose header has been read. A client that waits for 100 Continue gets it
// when the body is first wanted.
class Connection::Body : public BodySource {
 public:
  explicit Body(Connection& connection, uint64_t& received)
      : connection_(connection),
        received_(received),
        wait_(beast::iequals(connection.parser_->get()[http::field::expect], "100-continue") &&
              !connection.parser_->is_done()) {}

  size_t Read(char* data, size_t size) override {
    Parser& parser = *connection_.parser_;
    if (std::exchange(wait_, false)) Continue();
    if (parser.is_done() || size == 0) return 0;
    parser.get().body().data = data;
    parser.get().body().size = size;
    beast::error_code error;
    http::read(connection_.sync_, connection_.buffer_, parser, error);
    if (error && error != http::error::need_buffer) throw Aborted{};
    const size_t got = size - parser.get().body().size;
    received_ += got;
    return got;
  }

  // Whether the client still waits for leave to send the body, which it may never do now.
  bool unwanted() const { return wait_; }

  void Drain() {
    std::array<char, size_t{64} * 1024> scratch;
    while (Read(scratch.data(), scratch.size()) > 0) {
    }
  }

 private:
  void Continue() {
    http::response<http::empty_body> response{http::status::continue_, 11};
    http::write(connection_.sync_, response);
    connection_.stream_.Flush();
  }

  Connection& connection_;
  uint64_t& received_;
  bool wait_;
};

void Connection::Run() {
  if (stream_.PeekIsTls()) {
    stream_.StartTls(core_.tls.get());
    secure_ = true;
  }
  while (stream_.BecomeIdle() && ReadHeader()) {
    stream_.BecomeBusy();
    if (!ServeRequest()) break;
  }
  stream_.CloseGently();
}

bool Connection::ReadHeader() {
  parser_.emplace();
  parser_->header_limit(kHeaderLimit);
  parser_->body_limit(boost::none);
  beast::error_code error;
  http::read_header(sync_, buffer_, *parser_, error);
  if (!error) return true;
  if (error != http::error::end_of_stream && error != http::error::partial_message) {
    Send({ErrorAnswer(400, "bad_request", error.message())}, false, false);
  }
  return false;
}

Incoming Connection::MakeIncoming() const {
  const auto& message = parser_->get();
  Incoming incoming;
  Request& record = incoming.record;
  record.arrived = std::chrono::steady_clock::now();
  record.secure = secure_;
  record.method = message.method_string();
  record.target = message.target();
  for (const auto& field : message) record.headers.emplace_back(field.name_string(), field.value());
  record.host = HostOf(record.Header("Host"));
  if (const auto length = parser_->content_length()) incoming.content_length = *length;
  return incoming;
}

bool Connection::ServeTunnel(Request& request) {
  LogEntry entry(core_.log, request);
  const auto refusal = RefusalOf(core_.options, request, true);
  request.status = refusal ? refusal->status : 200;
  entry.Update();
  if (refusal) {
    Send({*refusal}, false, true);
    return true;
  }
  // What follows is the tunnel's, and must not have been read yet.
  if (buffer_.size() > 0) return false;
  http::response<http::empty_body> response{http::status::ok, 11};
  response.reason("Connection established");
  http::write(sync_, response);
  stream_.Flush();
  secure_ = stream_.PeekIsTls();
  if (secure_) stream_.StartTls(core_.tls.get());
  return true;
}

bool Connection::ServeRequest() {
  Incoming incoming = MakeIncoming();
  Request& record = incoming.record;
  if (record.method == "CONNECT" && !secure_) {
    record.host = HostOf(record.target);
    record.call = "CONNECT";
    return ServeTunnel(record);
  }
  const bool by_proxy = SplitTarget(incoming);
  Body body(*this, record.body_bytes);
  if (auto refusal = RefusalOf(core_.options, record, by_proxy)) {
    return Finish({std::move(*refusal)}, record, body);
  }
  if (record.host == kControlHost) {
    return Finish({HandleControl(core_, incoming, body)}, record, body);
  }
  Service::Route(incoming);
  LogEntry entry(core_.log, record);
  const PlannedAnswer planned = Exchange(core_, stream_, incoming, body);
  if (!planned.silent) {
    if (!body.unwanted()) body.Drain();
    record.status = planned.answer.status;
  }
  // The client must find its request in the log once it has the answer.
  entry.Update();
  return Finish(planned, record, body);
}

// Returns whether the connection stays.
bool Connection::Finish(const PlannedAnswer& planned, const Request& request, Body& body) {
  if (planned.silent) EndAtFault(planned.stall);
  if (!body.unwanted()) body.Drain();
  // After a 400 the service closes.
  const bool keep = parser_->keep_alive() && !body.unwanted() && planned.answer.status != 400;
  Send(planned, request.method == "HEAD", keep);
  return keep;
}

void Connection::EndAtFault(bool stall) {
  if (stall) stream_.WaitForClose();
  throw Aborted{};
}

void Connection::Send(const PlannedAnswer& planned, bool head, bool keep) {
  SendHeader(planned.answer, keep);
  const uint64_t length = head ? 0 : planned.answer.Length();
  SendBody(planned, std::min(length, planned.cut_after.value_or(length)));
  stream_.Flush();
  if (planned.cut_after) EndAtFault(planned.stall);
}

void Connection::SendHeader(const Answer& answer, bool keep) {
  http::response<http::empty_body> response;
  response.version(11);
  response.result(static_cast<unsigned>(answer.status));
  for (const auto& [name, value] : answer.headers) response.insert(name, OneLine(value));
  response.set(http::field::date, HttpDate());
  response.content_length(answer.Length());
  response.keep_alive(keep);
  http::response_serializer<http::empty_body> serializer(response);
  http::write_header(sync_, serializer);
}

void Connection::SendBody(const PlannedAnswer& planned, uint64_t length) {
  for (uint64_t sent = 0; sent < length;) {
    const std::string_view bytes = planned.answer.At(sent).substr(0, length - sent);
    sent += planned.drip == 0 ? SendAll(bytes) : SendStep(bytes, {planned.drip});
  }
}

size_t Connection::SendAll(std::string_view bytes) {
  stream_.Write(bytes);
  return bytes.size();
}

size_t Connection::SendStep(std::string_view bytes, Pace pace) {
  const size_t sent = SendAll(bytes.substr(0, pace.Step()));
  stream_.Flush();
  stream_.Pause(pace.Rest(sent));
  return sent;
}

}  // namespace

void ServeConnection(Core& core, Stream& stream) {
  try {
    Connection(core, stream).Run();
  } catch (const Aborted&) {
    stream.CloseNow();
  } catch (const std::exception&) {
    // Such as no memory, or a header that is too long to be written: this connection's end only.
    stream.CloseNow();
  }
}

}  // namespace emulator
