#include "client.h"

#include "emulator/content.h"
#include "emulator/names.h"

namespace emulator {
namespace {

size_t AppendBody(char* data, size_t size, size_t count, void* reply) {
  static_cast<Reply*>(reply)->body.append(data, size * count);
  return size * count;
}

size_t AddHeader(char* data, size_t size, size_t count, void* reply) {
  const std::string line(data, size * count);
  auto& headers = static_cast<Reply*>(reply)->headers;
  if (line.starts_with("HTTP/")) headers.clear();
  const size_t colon = line.find(": ");
  if (colon == std::string::npos) return line.size();
  headers[ToLower(line.substr(0, colon))] = line.substr(colon + 2, line.size() - colon - 4);
  return line.size();
}

}  // namespace

std::string Reply::Outcome() const {
  const std::string text = std::to_string(status);
  const json error = json::parse(body, nullptr, false);
  const bool refused = error.is_object() && error.contains("code");
  return refused ? text + " " + error["code"].get<std::string>() : text;
}

Client::Client(const Emulator& target, Way way) : curl_(curl_easy_init(), curl_easy_cleanup) {
  CURL* const curl = curl_.get();
  const std::string port = std::to_string(target.port());
  curl_easy_setopt(curl, CURLOPT_CAINFO, target.ca_file().c_str());
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L);
  if (way == Way::kDirect) {
    route_.reset(curl_slist_append(nullptr, ("::127.0.0.1:" + port).c_str()));
    curl_easy_setopt(curl, CURLOPT_CONNECT_TO, route_.get());
  } else {
    curl_easy_setopt(curl, CURLOPT_PROXY, ("http://127.0.0.1:" + port).c_str());
  }
}

void Client::SetTimeout(std::chrono::milliseconds time) {
  curl_easy_setopt(curl_.get(), CURLOPT_TIMEOUT_MS, static_cast<long>(time.count()));
}

void Client::SetProxyLogin(const std::string& user_and_password) {
  curl_easy_setopt(curl_.get(), CURLOPT_PROXYUSERPWD, user_and_password.c_str());
}

Reply Client::Send(const std::string& url, const Headers& headers,
                   const std::optional<std::string>& body, const std::string& method) {
  CURL* const curl = curl_.get();
  Reply reply;
  curl_slist* list = nullptr;
  for (const std::string& line : headers) list = curl_slist_append(list, line.c_str());
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, AppendBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, AddHeader);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &reply);
  curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
  if (body) {
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body->size()));
    curl_easy_setopt(curl, CURLOPT_COPYPOSTFIELDS, body->data());
  }
  curl_easy_setopt(curl, CURLOPT_NOBODY, method == "HEAD" ? 1L : 0L);
  curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.empty() ? nullptr : method.c_str());
  reply.transport = curl_easy_perform(curl);
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &reply.status);
  curl_slist_free_all(list);
  return reply;
}

Options SmallParts() {
  Options options;
  options.recommended_part_size = 20;
  options.absolute_minimum_part_size = 10;
  return options;
}

EmulatorTest::EmulatorTest(const Options& options)
    : emulator_(options),
      bucket_(emulator_.store().CreateBucket({.name = "photos"})),
      client_(emulator_) {
  Login();
}

void EmulatorTest::Login(const std::string& id_and_key) {
  const std::string master = emulator_.account_id() + ":" + emulator_.key();
  const Reply reply = client_.Send("https://" + (id_and_key.empty() ? master : id_and_key) +
                                   "@api.backblazeb2.com/b2api/v1/b2_authorize_account");
  token_ = reply.Json().value("authorizationToken", "");
}

Reply EmulatorTest::Call(const std::string& name, const json& fields, int version) {
  const std::string base = "https://api001.backblazeb2.com/b2api/v";
  return client_.Send(base + std::to_string(version) + "/" + name, {"Authorization: " + token_},
                      fields.dump());
}

Reply EmulatorTest::Download(const std::string& name, const Headers& headers,
                             const std::string& method) {
  Headers all = headers;
  all.push_back("Authorization: " + token_);
  return client_.Send("https://f001.backblazeb2.com/file/photos/" + name, all, {}, method);
}

json EmulatorTest::UploadTarget(const std::string& large_id) {
  return large_id.empty() ? Call("b2_get_upload_url", {{"bucketId", bucket_.id}}).Json()
                          : Call("b2_get_upload_part_url", {{"fileId", large_id}}).Json();
}

Reply EmulatorTest::Upload(const json& target, const Headers& headers, const std::string& body) {
  Headers all = headers;
  all.push_back("Authorization: " + target["authorizationToken"].get<std::string>());
  return client_.Send(target["uploadUrl"], all, body);
}

Reply EmulatorTest::UploadFile(const json& target, const std::string& name, const std::string& body,
                               const Headers& more) {
  Headers headers{"X-Bz-File-Name: " + name, "Content-Type: a/b",
                  "X-Bz-Content-Sha1: do_not_verify"};
  headers.insert(headers.end(), more.begin(), more.end());
  return Upload(target, headers, body);
}

Reply EmulatorTest::UploadPart(const json& target, int number, const std::string& body) {
  return Upload(
      target, {"X-Bz-Part-Number: " + std::to_string(number), "X-Bz-Content-Sha1: " + Sha1Of(body)},
      body);
}

std::string EmulatorTest::Start(const std::string& name) {
  return emulator_.store().StartLarge(bucket_.id, {.name = name})->Id();
}

std::string EmulatorTest::VersionsText() {
  std::string text;
  for (const VersionPtr& version : AllVersions(emulator_.store(), "photos")) {
    const char mark = version->action == Action::kHide    ? '-'
                      : version->action == Action::kStart ? '+'
                                                          : '=';
    text += (text.empty() ? "" : " ") + version->name + mark + version->content->Text();
  }
  return text;
}

std::string Sha1Of(const std::string& text) { return Content::FromText(text)->sha1; }

}  // namespace emulator
