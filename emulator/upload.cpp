#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "base/numbers.h"
#include "base/utf8.h"
#include "emulator/calls.h"
#include "emulator/errors.h"
#include "emulator/sha1.h"
#include "emulator/shapes.h"
#include "emulator/transfers.h"

namespace emulator {
namespace {

constexpr size_t kTrailerSize = 40;
constexpr std::string_view kInfoPrefix = "x-bz-info-";

enum class Digest { kGiven, kAtEnd, kUnverified };

struct UploadPlan {
  uint64_t size;  // bytes of the content
  Digest digest;
  std::string sha1;  // lower case, when given
};

std::string RequiredHeader(const Request& request, const char* name) {
  std::string value = request.Header(name);
  if (value.empty()) throw BadRequest(std::string("Missing header: ") + name);
  return value;
}

UploadPlan PlanOf(const Incoming& incoming) {
  if (!incoming.content_length) throw BadRequest("Missing header: Content-Length");
  const std::string sha1 = RequiredHeader(incoming.record, "X-Bz-Content-Sha1");
  UploadPlan plan{*incoming.content_length, Digest::kGiven, ToLower(sha1)};
  if (sha1 == "hex_digits_at_end") {
    if (plan.size < kTrailerSize) throw BadRequest("The body is too short for its digest");
    plan.size -= kTrailerSize;
    plan.digest = Digest::kAtEnd;
  } else if (sha1 == "do_not_verify") {
    plan.digest = Digest::kUnverified;
  } else if (!IsSha1(sha1)) {
    throw BadRequest("Invalid X-Bz-Content-Sha1: " + sha1);
  }
  if (plan.size > kMaxUploadBytes) throw BadRequest("Content-Length is too large");
  return plan;
}

std::string ReadTrailer(BodySource& body) {
  std::array<char, kTrailerSize> trailer{};
  const size_t got = body.Read(trailer.data(), trailer.size());
  return ToLower({trailer.data(), got});
}

// Receives the content block by block, so that nothing grows and nothing is copied.
ContentPtr Receive(BodySource& body, const UploadPlan& plan, Store& store) {
  const std::unique_ptr<ContentSink> sink = store.NewContent(plan.size);
  Sha1 digest;
  for (uint64_t left = plan.size; left > 0;) {
    const size_t step = std::min<uint64_t>(left, Content::kBlockSize);
    auto block = std::make_shared_for_overwrite<char[]>(step);
    if (body.Read(block.get(), step) != step) throw Aborted{};
    digest.Update({block.get(), step});
    sink->Append(std::move(block), step);
    left -= step;
  }
  const std::shared_ptr<Content> content = sink->Finish();
  const std::string computed = digest.HexDigest();
  const std::string wanted = plan.digest == Digest::kAtEnd ? ReadTrailer(body) : plan.sha1;
  if (plan.digest == Digest::kUnverified) {
    content->sha1 = "unverified:" + computed;
  } else if (wanted != computed) {
    throw BadRequest("Sha1 did not match data received");
  } else {
    content->sha1 = computed;
  }
  return content;
}

NewFile FileOf(const Request& request) {
  for (const char* const name : {"Content-Disposition", "Content-Encoding", "Content-Language",
                                 "Content-Location", "Content-Range", "Expires"}) {
    if (!request.Header(name).empty()) throw BadRequest(std::string("Bad header: ") + name);
  }
  NewFile file{PercentDecode(RequiredHeader(request, "X-Bz-File-Name")),
               RequiredHeader(request, "Content-Type")};
  for (const auto& [name, value] : request.headers) {
    const std::string lower = ToLower(name);
    if (lower.starts_with(kInfoPrefix)) {
      file.info[lower.substr(kInfoPrefix.size())] = PercentDecode(value);
    }
  }
  if (!base::IsUtf8(file.content_type)) throw BadRequest("Content-Type must be UTF8");
  CheckFileName(file.name);
  file.info = CheckedInfo(file.info, file.name);
  return file;
}

int64_t PartNumberOf(const Request& request) {
  const std::string text = RequiredHeader(request, "X-Bz-Part-Number");
  const int64_t number = base::ParseNumber<int64_t>(text).value_or(0);
  if (number < 1 || number > 10'000) {
    throw BadRequest("Part number must be between 1 and 10000: " + text);
  }
  return number;
}

}  // namespace

Answer UploadFile(Store& store, Access& access, const Incoming& incoming, BodySource& body) {
  const Request& request = incoming.record;
  const UploadPass pass = access.BeginUpload(request.Header("Authorization"), incoming.rest);
  const UploadPlan plan = PlanOf(incoming);
  const NewFile file = FileOf(request);
  RequireName(pass.key(), file.name);
  const VersionPtr version = store.AddFile(pass.target(), file, Receive(body, plan, store));
  return JsonAnswer(FileJson(*version, {access.account_id(), incoming.version}).dump(2));
}

Answer UploadPart(Store& store, Access& access, const Incoming& incoming, BodySource& body) {
  const Request& request = incoming.record;
  const UploadPass pass = access.BeginUpload(request.Header("Authorization"), incoming.rest);
  const UploadPlan plan = PlanOf(incoming);
  const int64_t number = PartNumberOf(request);
  store.ActiveLarge(pass.target());
  if (plan.size == 0) throw BadRequest("Parts must have at least 1 byte");
  const Part part = store.AddPart(pass.target(), number, Receive(body, plan, store));
  return JsonAnswer(PartJson(part, pass.target(), {access.account_id(), incoming.version}).dump(2));
}

}  // namespace emulator
