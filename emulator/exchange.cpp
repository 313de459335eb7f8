#include "emulator/exchange.h"

#include <algorithm>
#include <array>
#include <utility>

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
  return answer;
}

// Stands for the answer of a call that must not take effect and whose answer is cut anyway.
Answer BlankAnswer(uint64_t length) {
  return JsonAnswer(std::string(static_cast<size_t>(length) + 1, ' '));
}

bool TakesEffect(const Fault& fault, const Incoming& incoming) {
  if (fault.commit) return true;
  if (fault.status != 0) return false;
  const bool answered = !fault.stall && !fault.cut_after;
  return answered || !Service::Changes(incoming);
}

Answer AnswerOf(Service& service, const Fault& fault, const Incoming& incoming, BodySource& body) {
  if (TakesEffect(fault, incoming)) {
    Answer answer = service.Handle(incoming, body);
    return fault.status == 0 ? answer : FaultAnswer(fault);
  }
  return fault.status == 0 ? BlankAnswer(fault.cut_after.value_or(0)) : FaultAnswer(fault);
}

}  // namespace

PlannedAnswer Exchange(Core& core, Stream& stream, Incoming& incoming, BodySource& body) {
  const Fault fault = core.faults.Take(incoming.record.call).value_or(Fault{});
  stream.Pause(core.latency.load() + fault.delay);
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
  return {std::move(answer), fault.cut_request_after.has_value(), fault.cut_after, fault.stall};
}

}  // namespace emulator
