#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "emulator/message.h"
#include "emulator/planned_answer.h"
#include "emulator/sha1.h"
#include "emulator/url.h"

namespace emulator {

// A body that is hashed as it is read.
class HashedBody : public BodySource {
 public:
  explicit HashedBody(BodySource& body) : body_(body) {}

  size_t Read(char* data, size_t size) override {
    const size_t got = body_.Read(data, size);
    digest_.Update({data, got});
    return got;
  }
  // Of what has been read. Once.
  std::string Sha1OfAll() { return digest_.HexDigest(); }

 private:
  BodySource& body_;
  Sha1 digest_;
};

// A request without what it was authorized by.
struct RecordedRequest {
  std::string method;
  std::string target;
  Pairs headers;
  std::string body;      // of JSON calls
  std::string sha1;      // of the body
  bool is_whole = true;  // the body was read to its end
};

// One request and its answer, secrets replaced.
struct Recorded {
  RecordedRequest request;
  std::string base;  // what URLs in the answer begin with; "": the service's own
  PlannedAnswer planned;
};

// `sha1` is that of the body as far as it was read.
RecordedRequest RequestOf(const Incoming& incoming, std::string sha1);

// "" when both are the same request for all that matters, else what differs. That is, of headers,
// those that the service acts upon.
std::string DifferenceOf(const RecordedRequest& recorded, const RecordedRequest& request);

// A line of JSON, and back. Reading throws std::exception.
std::string LineOf(const Recorded& recorded);
Recorded ParseRecorded(const std::string& line);

}  // namespace emulator
