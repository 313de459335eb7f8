#pragma once

#include <sys/socket.h>

#include "tests/fuzz/scripted_pool.h"

namespace fuzz {

// Makes a transfer with libcurl; the server, on a socket pair, sends `answer` and closes, whatever
// it is asked. The socket holds about 150 KB.
inline _CURLRTN SendOver(const Transfer& transfer, const std::string& answer) {
  int ends[2];
  Must(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) == 0, "a socket pair");
  Must(send(ends[1], answer.data(), answer.size(), MSG_NOSIGNAL) >= 0, "a server");
  shutdown(ends[1], SHUT_WR);

  curl_opensocket_callback open = [](void* end, curlsocktype, curl_sockaddr*) {
    return std::exchange(*static_cast<int*>(end), CURL_SOCKET_BAD);
  };
  curl_sockopt_callback connected = [](void*, curl_socket_t, curlsocktype) {
    return CURL_SOCKOPT_ALREADY_CONNECTED;
  };
  const std::string url = transfer.request.GetURL();
  transfer.request.SetURL(("http://127.0.0.1/" + url.substr(url.find(":/") + 1)).c_str());
  CURL* easy = transfer.request.GetCURL();
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, open);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, &ends[0]);
  curl_easy_setopt(easy, CURLOPT_SOCKOPTFUNCTION, connected);
  const _CURLRTN result = transfer.send();
  if (ends[0] != CURL_SOCKET_BAD) close(ends[0]);
  close(ends[1]);
  return result;
}

}  // namespace fuzz
