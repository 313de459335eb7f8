#include "emulator/connection.h"

#include <algorithm>
#include <array>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <chrono>
#include <ctime>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "emulator/beast_stream.h"
#include "emulator/control.h"
#include "emulator/errors.h"
#include "emulator/exchange.h"
#include "emulator/hosts.h"
#include "emulator/http_request.h"
#include "emulator/message.h"
#include "emulator/pace.h"
#include "emulator/recording.h"

namespace emulator {
namespace {

namespace beast = boost::beast;
namespace http = boost::beast::http;

constexpr char kTlsHandshake = 0x16;
constexpr char kConnect = 'C';

std::string HttpDate() {
  const time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  std::array<char, 64> text{};
  std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &utc);
  return text.data();
}

// A line break in what clients have stored or asked for must not begin another header.
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
  // These return whether the connection stays.
  bool ServeNext();
  bool Serve(HttpRequest& request);
  bool ServeTunnel(Request& record);
  PlannedAnswer AnswerTo(HttpRequest& request);
  bool Finish(const PlannedAnswer& planned, HttpRequest& request);
  void StartLinkFromHere();
  void Establish(const std::string& host);
  void StartTlsIfAsked();
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
  beast::flat_buffer buffer_;
  bool secure_ = false;
};

// A proxy is near its client: on the link is what goes through its tunnels, not the asking for
// them.
void Connection::StartLinkFromHere() {
  if (stream_.Peek() == kConnect) return;
  if (const auto link = core_.link.Get()) {
    stream_.StartLink(*link, stream_.accepted() + link->round_trip);
  }
}

void Connection::Run() {
  StartLinkFromHere();
  StartTlsIfAsked();
  while (stream_.BecomeIdle() && ServeNext()) {
  }
  stream_.CloseGently();
}

void Connection::StartTlsIfAsked() {
  secure_ = stream_.Peek() == kTlsHandshake;
  if (secure_) stream_.StartTls(core_.tls.get());
}

bool Connection::ServeNext() {
  HttpRequest request(stream_, buffer_);
  try {
    if (!request.ReadHeader()) return false;
  } catch (const ServiceError& refusal) {
    Send({ErrorAnswer(refusal)}, false, false);
    return false;
  }
  stream_.BecomeBusy();
  return Serve(request);
}

bool Connection::ServeTunnel(Request& record) {
  LogEntry entry(core_.log, record);
  const auto refusal = RefusalOf(core_.options, record, true);
  record.status = refusal ? refusal->status : 200;
  entry.Update();
  if (refusal) {
    Send({*refusal}, false, true);
    return true;
  }
  // What follows is the tunnel's, and must not have been read yet.
  if (buffer_.size() > 0) return false;
  Establish(record.host);
  StartTlsIfAsked();
  return true;
}

// Takes the time that a proxy's own connection to the host would.
void Connection::Establish(const std::string& host) {
  const auto link = host == kControlHost ? std::nullopt : core_.link.Get();
  if (link) stream_.Pause(link->round_trip);
  http::response<http::empty_body> response{http::status::ok, 11};
  response.reason("Connection established");
  http::write(sync_, response);
  stream_.Flush();
  if (link) stream_.StartLink(*link, std::chrono::steady_clock::now());
}

bool Connection::Serve(HttpRequest& request) {
  Incoming& incoming = request.incoming();
  Request& record = incoming.record;
  record.secure = secure_;
  if (record.method == "CONNECT" && !secure_) {
    record.host = HostOf(record.target);
    record.call = "CONNECT";
    return ServeTunnel(record);
  }
  const bool by_proxy = SplitTarget(incoming);
  if (auto refusal = RefusalOf(core_.options, record, by_proxy)) {
    return Finish({std::move(*refusal)}, request);
  }
  if (record.host == kControlHost) {
    return Finish({HandleControl(core_, incoming, request)}, request);
  }
  incoming.base = BaseOf(record);
  Service::Route(incoming);
  LogEntry entry(core_.log, record);
  const PlannedAnswer planned = AnswerTo(request);
  if (!planned.silent) {
    request.Drain();
    record.status = planned.answer.status;
  }
  // The client must find its request in the log once it has the answer.
  entry.Update();
  return Finish(planned, request);
}

PlannedAnswer Connection::AnswerTo(HttpRequest& request) {
  Incoming& incoming = request.incoming();
  if (core_.playback) return core_.playback->Play(incoming, request);
  if (!core_.recorder) return Exchange(core_, stream_, incoming, request);
  HashedBody hashed(request);
  PlannedAnswer planned = Exchange(core_, stream_, incoming, hashed);
  try {
    core_.recorder->Add(incoming, hashed.Sha1OfAll(), planned);
  } catch (const ServiceError& failure) {
    return {ErrorAnswer(failure)};
  }
  return planned;
}

bool Connection::Finish(const PlannedAnswer& planned, HttpRequest& request) {
  if (planned.silent) EndAtFault(planned.stall);
  request.Drain();
  // After a 400 the service closes.
  const bool keep = request.keep_alive() && !request.awaits_leave() && planned.answer.status != 400;
  Send(planned, request.incoming().record.method == "HEAD", keep);
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
    // Such as no memory, or a header that is too long to be written. Only this connection ends.
    stream.CloseNow();
  }
}

}  // namespace emulator
