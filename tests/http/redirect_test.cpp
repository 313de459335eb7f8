#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "http/backblaze_b2_curl.h"

namespace {

// Sends its first client elsewhere and answers the second, in clear and a connection each.
class RedirectingServer {
 public:
  RedirectingServer() : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* general = reinterpret_cast<sockaddr*>(&address);
    bind(listener_, general, size);
    listen(listener_, 2);
    getsockname(listener_, general, &size);
    port = std::to_string(ntohs(address.sin_port));
  }
  ~RedirectingServer() {
    Stop();
    close(listener_);
  }
  RedirectingServer(const RedirectingServer&) = delete;
  RedirectingServer& operator=(const RedirectingServer&) = delete;

  void SendTo(const std::string& location) {
    thread_ = std::thread([this, location] {
      Answer("302 Found\r\nLocation: " + location);
      Answer("200 OK");
    });
  }
  // The requests, whole, once no more can come.
  const std::vector<std::string>& Stop() {
    shutdown(listener_, SHUT_RDWR);
    if (thread_.joinable()) thread_.join();
    return requests_;
  }

  std::string port;

 private:
  void Answer(const std::string& status) {
    const int client = accept(listener_, nullptr, nullptr);
    if (client < 0) return;
    std::string request;
    std::array<char, 4096> block{};
    while (request.find("\r\n\r\n") == std::string::npos) {
      const ssize_t got = recv(client, block.data(), block.size(), 0);
      if (got <= 0) break;
      request.append(block.data(), static_cast<std::size_t>(got));
    }
    const std::string answer =
        "HTTP/1.1 " + status + "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
    close(client);
    requests_.push_back(request);
  }

  int listener_;
  std::thread thread_;
  std::vector<std::string> requests_;
};

// Follows one redirect from "http://first.test"; names stand for 127.0.0.1.
CURLcode Follow(CURLImpl& request, RedirectingServer& server, const std::string& location) {
  server.SendTo(location);
  curl_slist* names = nullptr;
  for (const char* host : {"first.test:", "second.test:"}) {
    names = curl_slist_append(names, (host + server.port + ":127.0.0.1").c_str());
  }
  const HeaderList owner(names);
  curl_easy_setopt(request.GetCURL(), CURLOPT_RESOLVE, names);
  request.AddHeader("Authorization", "the token");
  request.SetURL(("http://first.test:" + server.port).c_str());
  return static_cast<CURLcode>(request.PerformPost("").code);
}

bool HasToken(const std::string& request) { return request.find("the token") != request.npos; }

}  // namespace

TEST(RedirectTest, TokenStaysWithItsHost) {
  for (const bool same : {true, false}) {
    RedirectingServer server;
    CURLImpl request;
    const std::string host = same ? "first.test" : "second.test";
    EXPECT_EQ(Follow(request, server, "http://" + host + ":" + server.port), CURLE_OK);
    const auto& seen = server.Stop();
    ASSERT_EQ(seen.size(), 2U) << host;
    EXPECT_TRUE(HasToken(seen[0]));
    EXPECT_EQ(HasToken(seen[1]), same);
  }
}

TEST(RedirectTest, ServiceCallsFollowHttpsOnly) {
  for (const bool file : {false, true}) {
    RedirectingServer server;
    BackBlazeB2CURL request;
    // So that the first request, to which the same rule applies, can be made at all.
    curl_easy_setopt(request.GetCURL(), CURLOPT_PROTOCOLS_STR, "http");
    const std::string location = file ? "file:///dev/null" : "http://first.test:" + server.port;
    EXPECT_EQ(Follow(request, server, location), CURLE_UNSUPPORTED_PROTOCOL);
    EXPECT_EQ(server.Stop().size(), 1U);
  }
}
