#include "conform/http.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <limits>

namespace conform {
namespace {

namespace beast = boost::beast;
namespace http = beast::http;
using boost::asio::ip::tcp;

constexpr int kHttp11 = 11;

}  // namespace

HttpAnswer Ask(int proxy_port, const std::string& method, const std::string& url,
               const Headers& headers, const std::string& body) {
  const std::string bare = url.substr(url.find("://") + 3);
  http::request<http::string_body> request;
  request.version(kHttp11);
  request.method_string(method);
  request.target("http://" + bare);
  request.set(http::field::host, bare.substr(0, bare.find('/')));
  request.set(http::field::connection, "close");
  for (const auto& [name, value] : headers) request.set(name, value);
  request.body() = body;
  request.prepare_payload();

  boost::asio::io_context context;
  beast::tcp_stream stream(context);
  stream.connect(tcp::endpoint(boost::asio::ip::make_address("127.0.0.1"),
                               static_cast<unsigned short>(proxy_port)));
  http::write(stream, request);
  http::response_parser<http::string_body> answer;
  answer.body_limit(std::numeric_limits<std::uint64_t>::max());
  beast::flat_buffer buffer;
  http::read(stream, buffer, answer);
  return {static_cast<int>(answer.get().result_int()), answer.get().body()};
}

}  // namespace conform
