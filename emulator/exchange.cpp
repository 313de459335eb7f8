#include "emulator/exchange.h"

#include <algorithm>
#include <array>
#include <utility>

#include "emulator/gzip.h"
#include "emulator/names.h"
#include "emulator/pace.h"
#include "emulator/spoiling.h"

namespace emulator {
namespace {

// Reads at most `limit` bytes of the body.
void Discard(BodySource& body, uint64_t limit) {
  std::array<char, size_t{64} * 1024> scratch;
  while (limit > 0) {
    const size_t wanted = std::min<uint64_t>(limit, scratch.size());
    const size_t got = body.Read(scratch.data(), wanted);
    if (got < wanted) return;
    limit -= got;
  }
}

Answer FaultAnswer(const Fault& fault) {
  Answer answer = ErrorAnswer(fault.status, fault.code, fault.message);
  if (fault.body) answer.body = *fault.body;
  if (fault.retry_after) {
    answer.headers.emplace_back("Retry-After", std::to_string(*fault.retry_after));
  }
  if (!fault.location.empty()) answer.headers.emplace_back("Location", fault.location);
  if (fault.gzip_blanks) {
    answer.content = GzipOfBlanks(*fault.gzip_blanks);
    answer.length = answer.content->size();
    answer.headers.emplace_back("Content-Encoding", "gzip");
  }
  return answer;
}

// Stands for the answer of a call that must not take effect and whose answer is cut anyway; longer
// than any real one of such a call.
Answer BlankAnswer(uint64_t cut_after) {
  constexpr uint64_t kLongest = uint64_t{1} << 20;
  return JsonAnswer(std::string(std::min(cut_after, kLongest) + 1, ' '));
}

bool TakesEffect(const Fault& fault, const Incoming& incoming) {
  if (fault.commit) return true;
  if (fault.status != 0) return false;
  const bool answered = !fault.stall && !fault.cut_after;
  return answered || !Service::Changes(incoming);
}

Answer AnswerOf(Service& service, const Fault& fault, const Incoming& incoming, BodySource& body) {
  Answer answer;
  if (TakesEffect(fault, incoming)) {
    answer = service.Handle(incoming, body);
    Spoil(fault, incoming, answer);
  } else if (fault.status == 0) {
    answer = BlankAnswer(fault.cut_after.value_or(0));
  }
  if (fault.status != 0) answer = FaultAnswer(fault);
  return answer;
}

// The fault that hits the request, or one without effect.
Fault FaultFor(FaultPlan& plan, const Request& request) {
  Fault fault = plan.Take(request.call).value_or(Fault{});
  if (!fault.gzip_blanks) return fault;
  if (ToLower(request.Header("Accept-Encoding")).find("gzip") == std::string::npos) return {};
  if (fault.status == 0) fault.status = 200;
  return fault;
}

// Lets a body come no faster than the pace.
class SlowBody : public BodySource {
 public:
  SlowBody(const Stream& stream, BodySource& body, Pace pace)
      : stream_(stream), body_(body), pace_(pace) {}

  size_t Read(char* data, size_t size) override {
    size_t got = 0;
    while (got < size) {
      const size_t step = std::min(pace_.Step(), size - got);
      const size_t now = body_.Read(data + got, step);
      got += now;
      if (now < step) break;
      stream_.Pause(pace_.Rest(step));
    }
    return got;
  }

 private:
  const Stream& stream_;
  BodySource& body_;
  const Pace pace_;
};

// Flips a bit of the body on its way.
class FlippedBody : public BodySource {
 public:
  FlippedBody(BodySource& body, uint64_t byte) : body_(body), byte_(byte) {}

  size_t Read(char* data, size_t size) override {
    const size_t got = body_.Read(data, size);
    if (byte_ >= read_ && byte_ - read_ < got) data[byte_ - read_] ^= 1;
    read_ += got;
    return got;
  }

 private:
  BodySource& body_;
  const uint64_t byte_;
  uint64_t read_ = 0;
};

PlannedAnswer Answered(Core& core, const Fault& fault, Incoming& incoming, BodySource& body) {
  if (fault.cut_request_after && !fault.commit) {
    Discard(body, *fault.cut_request_after);
    return {.silent = true};
  }
  if (!Service::IsUpload(incoming.record.call)) incoming.record.body = body.ReadAll(kMaxJsonBody);
  Answer answer = AnswerOf(core.service, fault, incoming, body);
  if (fault.stall && !fault.cut_after) {
    Discard(body, UINT64_MAX);
    return {.silent = true, .stall = true};
  }
  return {std::move(answer), fault.cut_request_after.has_value(), fault.cut_after, fault.stall,
          fault.drip};
}

// An upload URL survives a refusal of what was sent to it, and nothing else.
bool EndsUploadUrl(const PlannedAnswer& planned) {
  const int status = planned.answer.status;
  return planned.silent || planned.stall || planned.cut_after || status == 401 || status == 408 ||
         status >= 500;
}

PlannedAnswer Uploaded(Core& core, const Fault& fault, Incoming& incoming, BodySource& body) {
  const std::string token = incoming.record.Header("Authorization");
  try {
    FlippedBody flipped(body, fault.flip_byte.value_or(UINT64_MAX));
    PlannedAnswer planned = Answered(core, fault, incoming, flipped);
    if (EndsUploadUrl(planned)) core.access.ExpireUpload(token);
    return planned;
  } catch (const Aborted&) {
    core.access.ExpireUpload(token);
    throw;
  }
}

PlannedAnswer AnsweredOrUploaded(Core& core, const Fault& fault, Incoming& incoming,
                                 BodySource& body) {
  return Service::IsUpload(incoming.record.call) ? Uploaded(core, fault, incoming, body)
                                                 : Answered(core, fault, incoming, body);
}

}  // namespace

PlannedAnswer Exchange(Core& core, Stream& stream, Incoming& incoming, BodySource& body) {
  core.hook.Run(incoming.record);
  const Fault fault = FaultFor(core.faults, incoming.record);
  incoming.ignore_range = fault.ignore_range;
  stream.Pause(core.latency.load() + fault.delay);
  if (fault.drip_request == 0) return AnsweredOrUploaded(core, fault, incoming, body);
  SlowBody slow(stream, body, {fault.drip_request});
  return AnsweredOrUploaded(core, fault, incoming, slow);
}

}  // namespace emulator
