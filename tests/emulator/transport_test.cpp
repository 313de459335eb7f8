#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "client.h"

namespace emulator {
namespace {

namespace fs = std::filesystem;

const std::string kUrl = "https://api.backblazeb2.com/b2api/v1/b2_no_such_call";
const std::string kPlainUrl = "http" + kUrl.substr(5);

TEST(TransportTest, AnswersDirectlyThroughTunnelsAndAsPlainProxy) {
  const Emulator emulator;
  EXPECT_THROW(Emulator({.port = emulator.port()}), std::system_error);
  EXPECT_EQ(Client(emulator, Way::kDirect).Send(kUrl).status, 404);
  EXPECT_EQ(Client(emulator, Way::kTunnel).Send(kUrl).status, 404);
  EXPECT_EQ(Client(emulator, Way::kPlainProxy).Send(kPlainUrl).status, 404);
  const std::string local = "https://localhost:" + std::to_string(emulator.port());
  EXPECT_EQ(Client(emulator, Way::kDirect).Send(local + "/b2api/v1/x").status, 404);
  EXPECT_EQ(Client(emulator).Send("https://example.com/").transport, CURLE_RECV_ERROR);
  EXPECT_EQ(Client(emulator).Send("http://example.com/").Outcome(), "403 access_denied");
}

TEST(TransportTest, ProxyCredentials) {
  const Emulator emulator({.proxy_user = "user", .proxy_password = "secret"});
  for (const std::string& url : {kUrl, kPlainUrl}) {
    Client client(emulator);
    EXPECT_EQ(client.Send(url).status, url == kPlainUrl ? 407 : 0);
    client.SetProxyLogin("user:wrong");
    EXPECT_NE(client.Send(url).status, 404);
    client.SetProxyLogin("user:secret");
    EXPECT_EQ(client.Send(url).status, 404);
  }
  EXPECT_EQ(Client(emulator, Way::kDirect).Send(kUrl).status, 404);
}

TEST(TransportTest, EmulatorsThatShareACaMakeItOnce) {
  std::string pattern = (fs::temp_directory_path() / "ca-XXXXXX").string();
  const fs::path folder = mkdtemp(pattern.data());
  const Options options{.ca_file = folder / "ca.pem", .ca_key_file = folder / "key.pem"};
  std::vector<std::unique_ptr<Emulator>> emulators(4);
  std::vector<std::thread> threads;
  for (auto& emulator : emulators) {
    threads.emplace_back([&] { emulator = std::make_unique<Emulator>(options); });
  }
  for (std::thread& thread : threads) thread.join();
  for (const auto& emulator : emulators) {
    EXPECT_EQ(Client(*emulator).Send(kUrl).status, 404);
  }
  struct stat key {};
  ASSERT_EQ(stat((folder / "key.pem").c_str(), &key), 0);
  EXPECT_EQ(key.st_mode & 0777, 0600U);
  fs::remove_all(folder);
}

TEST(TransportTest, ConnectionsStayUntilIdleOnesAreClosed) {
  Emulator emulator;
  Client client(emulator);
  for (const size_t connections : {1, 1, 2}) {
    if (connections == 2) emulator.CloseIdleConnections();
    EXPECT_EQ(client.Send(kUrl).status, 404);
    EXPECT_EQ(emulator.Count("CONNECT"), connections);
  }
}

// Sends bytes as they are over a plain connection and returns all that comes back.
std::string Raw(uint16_t port, const std::string& bytes) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);  // the server may close before all is sent
  shutdown(fd, SHUT_WR);
  std::string all;
  char buffer[4096];
  for (ssize_t got = 0; (got = recv(fd, buffer, sizeof buffer, 0)) > 0;) {
    all.append(buffer, static_cast<size_t>(got));
  }
  close(fd);
  return all;
}

TEST(TransportTest, BrokenRequestsAreRefusedOrDropped) {
  const Emulator emulator;
  const std::string get = "GET /b2api/v1/x HTTP/1.1\r\nHost: localhost\r\n";
  const std::string post = "POST /b2api/v1/b2_list_buckets HTTP/1.1\r\nHost: localhost\r\n";
  const std::string big(100'000, 'x');
  const std::pair<std::string, const char*> rows[] = {
      {"", ""},
      {"GET / HTT", ""},
      {"\x16nonsense", ""},
      {"no request at all\r\n\r\n", "400"},
      {"GET /" + big + " HTTP/1.1\r\n\r\n", "400"},
      {get + "X: " + big.substr(0, 9000) + "\r\n\r\n", "404"},
      {post + "Transfer-Encoding: chunked\r\n\r\n1;" + big + big + "\r\nx\r\n0\r\n\r\n", ""},
      {get + "Content-Length: 18446744073709551616\r\n\r\n", "400"},
      {get + "Content-Length: -1\r\n\r\n", "400"},
      {"GET /b2api/v4294967297/x HTTP/1.1\r\nHost: localhost\r\n\r\n", "404"},
      {"DELETE" + post.substr(4) + "\r\n", "405"},
      {post + "Content-Length: 9\r\n\r\n{", ""},
  };
  for (const auto& [bytes, status] : rows) {
    const std::string answer = Raw(emulator.port(), bytes);
    EXPECT_EQ(answer.empty() ? "" : answer.substr(9, 3), status) << bytes.substr(0, 60);
  }
}

constexpr const char* kBigUrl = "https://f001.backblazeb2.com/file/photos/big";

TEST(TransportTest, ManyClientsAtOnce) {
  Emulator emulator;
  Store& store = emulator.store();
  store.CreateBucket({.name = "photos", .type = "allPublic"});
  AddSynthetic(store, "photos", "big", 5'000'000);
  std::vector<std::thread> threads;
  for (int i = 0; i < 16; ++i) {
    threads.emplace_back([&] {
      Client client(emulator);
      for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(client.Send(kBigUrl).body.size(), 5'000'000U);
        AddText(store, "photos", "small", "x");
        emulator.requests();
        std::atomic<size_t> seen = 0;
        emulator.OnRequest([&seen](const Request&) { ++seen; });
        client.Send(kBigUrl, {"Range: bytes=0-1"});
        emulator.OnRequest({});
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(AllVersions(store, "photos").size(), 49U);
}

TEST(TransportTest, StopsInTheMidstOfTransfers) {
  auto emulator = std::make_unique<Emulator>();
  emulator->store().CreateBucket({.name = "photos", .type = "allPublic"});
  AddSynthetic(emulator->store(), "photos", "big", 5'000'000);
  emulator->AddFault({.call = "download_by_name", .stall = true});
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([client = std::make_shared<Client>(*emulator)] {
      while (client->Send(kBigUrl).transport == CURLE_OK) {
      }
    });
  }
  while (emulator->Count("download_by_name") < 30) std::this_thread::yield();
  emulator.reset();
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace emulator
