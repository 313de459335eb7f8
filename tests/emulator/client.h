#pragma once

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "emulator/emulator.h"
#include "emulator/inspection.h"
#include "emulator/seeding.h"

namespace emulator {

using nlohmann::json;
using Headers = std::vector<std::string>;

struct Reply {
  json Json() const { return json::parse(body); }
  /// "status code" of a refusal, the status alone otherwise.
  std::string Outcome() const;

  CURLcode transport = CURLE_OK;
  long status = 0;
  std::map<std::string, std::string> headers;  // lower-case names
  std::string body;
};

/// How a client reaches the emulator.
enum class Way { kTunnel, kDirect, kPlainProxy };

/// Sends requests one after another over one connection while that lasts.
class Client {
 public:
  explicit Client(const Emulator& target, Way way = Way::kTunnel);

  /// GET without a body, POST with one, unless `method` says otherwise.
  Reply Send(const std::string& url, const Headers& headers = {},
             const std::optional<std::string>& body = {}, const std::string& method = "");

  void AcceptGzip() { curl_easy_setopt(curl_.get(), CURLOPT_ACCEPT_ENCODING, "gzip"); }
  void SetTimeout(std::chrono::milliseconds time);
  void SetProxyLogin(const std::string& user_and_password);

 private:
  // The handle uses the list until its end.
  std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> route_{nullptr, curl_slist_free_all};
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl_;
};

Options SmallParts();

/// An emulator, an authorized client and the bucket "photos".
class EmulatorTest : public testing::Test {
 protected:
  explicit EmulatorTest(const Options& options = SmallParts());

  Store& store() { return emulator_.store(); }
  /// Logs in with "id:key", the master key by default; later calls use the token.
  void Login(const std::string& id_and_key = "");
  Reply Call(const std::string& name, const json& fields, int version = 1);
  Reply Download(const std::string& name, const Headers& headers = {},
                 const std::string& method = "GET");

  /// An upload URL with its token, for the bucket or, given a large file's ID, for its parts.
  json UploadTarget(const std::string& large_id = "");
  Reply Upload(const json& target, const Headers& headers, const std::string& body);
  /// Uploads a file, not verified.
  Reply UploadFile(const json& target, const std::string& name, const std::string& body,
                   const Headers& more = {});
  /// Uploads a part in the plainest way.
  Reply UploadPart(const json& target, int number, const std::string& body);

  std::string Start(const std::string& name);
  std::string VersionsText();

  Emulator emulator_;
  Bucket bucket_;
  Client client_;
  std::string token_;
};

std::string Sha1Of(const std::string& text);

}  // namespace emulator
