#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace load {

/// One HTTP request: GET without a body, POST with one.
struct Request {
  std::string url;
  std::vector<std::string> headers = {};
  std::optional<std::string> body = {};
};

struct Reply {
  long status = 0;
  std::string body;
};

/// What all workers share: URLs and token of a session, and the bucket they use.
struct Session {
  std::string api_url;
  std::string download_url;
  std::string token;
  std::string bucket_name;
  std::string bucket_id;
};

/// One client of many. Its names begin with its own folder, so that workers do not meet.
struct Worker {
  const Session* session = nullptr;
  std::string folder = {};
  std::string content = {};
  std::string sha1 = {};  // of the content
  nlohmann::json upload_target = {};
  nlohmann::json part_target = {};
  std::vector<std::string> versions = {};  // to be deleted, by ID; the last one first
  std::string large_id = {};
};

/// One request of the round that every worker goes through again and again. At its end the round
/// has deleted all that it stored.
struct Step {
  const char* name;
  Request (*make)(const Worker&);
  long status;
  /// Whether the body is right; keeps what later steps need. Null: any body.
  bool (*take)(Worker&, const std::string& body);
};

std::span<const Step> Round();

}  // namespace load
