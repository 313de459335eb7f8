#include "host/commands/health.h"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/utsname.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <memory>
#include <system_error>

#include "host/common/unique_fd.h"
#include "host/local/installation.h"
#include "host/plugin/entry.h"

namespace b2drive::cli {
namespace {

constexpr char kServiceHost[] = "api.backblazeb2.com";

std::string TextOf(int error) { return std::generic_category().message(error); }

using Addresses = std::unique_ptr<addrinfo, void (*)(addrinfo*)>;

// Empty, with the reason in `why`, when the name is not found.
Addresses Resolve(const std::string& host, const char* port, std::string& why) {
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int error = getaddrinfo(host.c_str(), port, &wanted, &found);
  if (error != 0) why = error == EAI_SYSTEM ? TextOf(errno) : gai_strerror(error);
  return {error == 0 ? found : nullptr, freeaddrinfo};
}

// 0 or an errno.
int TryConnecting(const addrinfo& address) {
  constexpr int kPatience = 5000;  // milliseconds
  UniqueFd socket_fd(socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!socket_fd) return errno;
  if (connect(socket_fd.get(), address.ai_addr, address.ai_addrlen) == 0) return 0;
  if (errno != EINPROGRESS) return errno;
  pollfd wait{socket_fd.get(), POLLOUT, 0};
  if (poll(&wait, 1, kPatience) != 1) return ETIMEDOUT;
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(socket_fd.get(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

Finding LookAtSystem() {
  utsname system{};
  uname(&system);
  return {Health::kOk, std::string(system.sysname) + " " + system.release + " " + system.machine,
          ""};
}

Finding LookAtCertificates() {
  const std::filesystem::path folder = ProgramFolder();
  RequireCaBundle(folder);
  const auto file = folder.parent_path() / "Frameworks" / "cacert.pem";
  std::ifstream lines(file);
  int count = 0;
  for (std::string line; std::getline(lines, line);) {
    count += line.starts_with("-----BEGIN CERTIFICATE-----") ? 1 : 0;
  }
  if (count == 0) {
    return {Health::kFailed, file.string() + ": holds no certificate",
            "put a PEM bundle of CA certificates there"};
  }
  return {Health::kOk, file.string() + ": " + std::to_string(count) + " certificates", ""};
}

// The service's time does not come through the plug-in; a clock that is far off also fails the
// certificates of the sign-in.
Finding LookAtClock() {
  struct stat program {};
  const timespec now = Now();
  if (stat("/proc/self/exe", &program) == 0 && now.tv_sec < program.st_mtime) {
    return {Health::kFailed, TimeText(now) + ": before this program was installed",
            "set the clock; certificates are not valid yet"};
  }
  return {Health::kOk, TimeText(now) + ": after this program was installed; not compared further",
          ""};
}

}  // namespace

std::vector<Check> MachineChecks() {
  return {{"system", LookAtSystem}, {"CA bundle", LookAtCertificates}, {"clock", LookAtClock}};
}

Finding LookAtProxy(const std::string& host, const std::string& port) {
  const std::string where = host + ":" + port;
  const bool bracketed = host.starts_with('[') && host.ends_with(']');
  std::string why;
  const Addresses found =
      Resolve(bracketed ? host.substr(1, host.size() - 2) : host, port.c_str(), why);
  for (const addrinfo* address = found.get(); address != nullptr; address = address->ai_next) {
    const int error = TryConnecting(*address);
    if (error == 0) return {Health::kOk, where + ": accepts connections", ""};
    why = TextOf(error);
  }
  return {Health::kFailed, where + ": " + why,
          "start the proxy, or correct B2DRIVE_PROXY or --proxy"};
}

Finding LookAtNames() {
  std::string why;
  if (Resolve(kServiceHost, "443", why))
    return {Health::kOk, std::string(kServiceHost) + ": found", ""};
  return {Health::kFailed, std::string(kServiceHost) + ": " + why,
          "check the network and its name servers, or set a proxy in B2DRIVE_PROXY"};
}

}  // namespace b2drive::cli
