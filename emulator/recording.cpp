#include "emulator/recording.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "emulator/base64.h"
#include "emulator/names.h"

namespace emulator {
namespace {

using nlohmann::json;

constexpr std::string_view kRedacted = "REDACTED";
// Longer bodies of answers are not recorded.
constexpr uint64_t kLongestBody = uint64_t{64} << 20;
// As much as a large file can have.
constexpr uint64_t kLongestHead = 10'000 * uint64_t{5'000'000'000};

// What stands between `begin` and the next `end` or the text's end, wherever it does.
void Redact(std::string& text, std::string_view begin, char end) {
  for (size_t found = 0; (found = text.find(begin, found)) != text.npos;) {
    found += begin.size();
    const size_t length = std::min(text.find(end, found), text.size()) - found;
    text.replace(found, length, kRedacted);
  }
}

// Of JSON that may be broken on purpose.
void RedactMembers(std::string& text) {
  for (const char* const name : {"authorizationToken", "applicationKey"}) {
    for (const char* const colon : {"\":\"", "\": \""}) {
      Redact(text, '"' + std::string(name) + colon, '"');
    }
  }
}

Pairs RedactedHeaders(const Pairs& headers) {
  Pairs redacted = headers;
  for (auto& [name, value] : redacted) {
    const std::string lower = ToLower(name);
    if (lower.ends_with("authorization") || lower == "cookie") value = kRedacted;
  }
  return redacted;
}

// By lower-case name, sorted.
Pairs HeadersThatMatter(const Pairs& headers) {
  Pairs mattering;
  for (const auto& [name, value] : headers) {
    const std::string lower = ToLower(name);
    const bool matters = lower == "range" || lower == "content-type" || lower == "content-length" ||
                         lower.starts_with("x-bz-");
    if (matters) mattering.emplace_back(lower, value);
  }
  std::ranges::sort(mattering);
  return mattering;
}

bool SameBody(const RecordedRequest& recorded, const RecordedRequest& request) {
  if (!recorded.is_whole || recorded.sha1 == request.sha1) return true;
  const json one = json::parse(recorded.body, nullptr, false);
  return !one.is_discarded() && one == json::parse(request.body, nullptr, false);
}

// Of HEAD only the length is sent.
json BodyJson(const Answer& answer, bool head) {
  if (!answer.content) {
    std::string text = answer.body;
    RedactMembers(text);
    return {{"text", text}};
  }
  if (head) return {{"length", answer.length}};
  if (answer.length > kLongestBody) return {{"omitted", answer.length}};
  std::string bytes;
  while (bytes.size() < answer.length) {
    bytes += answer.At(bytes.size()).substr(0, answer.length - bytes.size());
  }
  return {{"base64", EncodeBase64(bytes)}};
}

ContentPtr Blank(uint64_t size) {
  static const auto block = std::make_shared<char[]>(Content::kBlockSize);
  auto blank = std::make_shared<Content>();
  while (blank->size() < size) {
    blank->Append(block, std::min<uint64_t>(size - blank->size(), Content::kBlockSize));
  }
  return blank;
}

void TakeBody(const json& body, Answer& answer) {
  if (body.contains("omitted")) {
    throw std::runtime_error("an answer of " + body["omitted"].dump() + " bytes is not in it");
  }
  if (body.contains("text")) {
    answer.body = body["text"];
    return;
  }
  if (body.contains("length")) {
    answer.length = body["length"];
    answer.content = Blank(std::min(answer.length, kLongestHead));
    return;
  }
  const auto bytes = DecodeBase64(body.at("base64").get_ref<const std::string&>());
  if (!bytes) throw std::runtime_error("a body is not Base64");
  answer.content = Content::FromText(*bytes);
  answer.length = bytes->size();
}

}  // namespace

RecordedRequest RequestOf(const Incoming& incoming, std::string sha1) {
  const Request& record = incoming.record;
  RecordedRequest request{.method = record.method,
                          .target = record.target,
                          .headers = RedactedHeaders(record.headers),
                          .body = record.body,
                          .sha1 = std::move(sha1),
                          .is_whole = record.body_bytes == incoming.content_length.value_or(0)};
  Redact(request.target, "Authorization=", '&');
  return request;
}

std::string DifferenceOf(const RecordedRequest& recorded, const RecordedRequest& request) {
  if (recorded.method != request.method) return "method";
  if (recorded.target != request.target) return "target";
  const Pairs wanted = HeadersThatMatter(recorded.headers);
  const Pairs given = HeadersThatMatter(request.headers);
  for (const auto& [name, value] : wanted) {
    // JSON bodies may be written in other ways.
    if (name == "content-length" && !recorded.body.empty()) continue;
    if (ValueOf(given, name) != value) return "header " + name;
  }
  for (const auto& [name, value] : given) {
    if (ValueOf(wanted, name).empty() && !value.empty()) return "header " + name;
  }
  return SameBody(recorded, request) ? "" : "body";
}

std::string LineOf(const Recorded& recorded) {
  const auto& [request, base, planned] = recorded;
  json answer{{"status", planned.answer.status},
              {"headers", planned.answer.headers},
              {"body", BodyJson(planned.answer, request.method == "HEAD")}};
  if (planned.silent) answer["silent"] = true;
  if (planned.stall) answer["stall"] = true;
  if (planned.cut_after) answer["cutAfter"] = *planned.cut_after;
  json line{{"request",
             {{"method", request.method},
              {"target", request.target},
              {"headers", request.headers},
              {"body", request.body},
              {"bodySha1", request.sha1},
              {"bodyIsWhole", request.is_whole}}},
            {"answer", answer},
            {"base", base}};
  std::string text = line.dump(-1, ' ', false, json::error_handler_t::replace);
  return text + "\n";
}

Recorded ParseRecorded(const std::string& line) {
  const json fields = json::parse(line);
  const json& request = fields.at("request");
  const json& answer = fields.at("answer");
  Recorded recorded{.request = {.method = request.at("method"),
                                .target = request.at("target"),
                                .headers = request.at("headers").get<Pairs>(),
                                .body = request.at("body"),
                                .sha1 = request.at("bodySha1"),
                                .is_whole = request.at("bodyIsWhole")},
                    .base = fields.at("base"),
                    .planned = {}};
  recorded.planned.answer.status = answer.at("status");
  recorded.planned.answer.headers = answer.at("headers").get<Pairs>();
  TakeBody(answer.at("body"), recorded.planned.answer);
  recorded.planned.silent = answer.value("silent", false);
  recorded.planned.stall = answer.value("stall", false);
  if (answer.contains("cutAfter")) recorded.planned.cut_after = answer["cutAfter"];
  return recorded;
}

}  // namespace emulator
