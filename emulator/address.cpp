#include "emulator/address.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace emulator {
namespace {

std::optional<Address> ParseIp(const std::string& text, uint16_t port) {
  Address address;
  sockaddr_in v4{.sin_family = AF_INET, .sin_port = htons(port), .sin_addr = {}, .sin_zero = {}};
  if (inet_pton(AF_INET, text.c_str(), &v4.sin_addr) == 1) {
    std::memcpy(&address.storage, &v4, sizeof v4);
    address.size = sizeof v4;
    address.loopback = ntohl(v4.sin_addr.s_addr) >> 24 == 127;
    return address;
  }
  sockaddr_in6 v6{};
  v6.sin6_family = AF_INET6;
  v6.sin6_port = htons(port);
  if (inet_pton(AF_INET6, text.c_str(), &v6.sin6_addr) != 1) return std::nullopt;
  std::memcpy(&address.storage, &v6, sizeof v6);
  address.size = sizeof v6;
  address.loopback = IN6_IS_ADDR_LOOPBACK(&v6.sin6_addr);
  return address;
}

}  // namespace

Address ParseAddress(const std::string& text, uint16_t port) {
  auto address = ParseIp(text, port);
  if (!address) throw std::invalid_argument("'" + text + "' is not an IP address");
  const bool colons = text.find(':') != std::string::npos;
  address->text = (colons ? "[" + text + "]:" : text + ":") + std::to_string(port);
  return *address;
}

uint16_t PortOf(int listener) {
  sockaddr_storage storage{};
  socklen_t size = sizeof storage;
  if (getsockname(listener, reinterpret_cast<sockaddr*>(&storage), &size) != 0) {
    throw std::system_error(errno, std::generic_category(), "getsockname");
  }
  // The port is at the same place in both.
  return ntohs(reinterpret_cast<const sockaddr_in*>(&storage)->sin_port);
}

std::string AlternativeName(const std::string& host) {
  if (ParseIp(host, 0)) return "IP:" + host;
  constexpr const char* kLetters =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_";
  if (host.empty() || host.find_first_not_of(kLetters) != std::string::npos) {
    throw std::invalid_argument("'" + host + "' is not a host's name");
  }
  return "DNS:" + host;
}

}  // namespace emulator
