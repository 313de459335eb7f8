#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <string>

namespace emulator {

// Where a server listens.
struct Address {
  std::string text = {};  // with the port
  sockaddr_storage storage = {};
  socklen_t size = 0;
  bool loopback = false;  // only this machine reaches it
};

// Of an IP address and a port. Throws std::invalid_argument for any other text.
Address ParseAddress(const std::string& text, uint16_t port);

// The port that a listening socket has got. Throws std::system_error.
uint16_t PortOf(int listener);

// What a certificate calls it: "IP:" or "DNS:" in front. Throws std::invalid_argument for what is
// neither an IP address nor a host's name.
std::string AlternativeName(const std::string& host);

}  // namespace emulator
