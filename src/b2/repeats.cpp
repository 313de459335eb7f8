#include "b2/repeats.h"

TransportMap PassingFailures() {
  TransportMap map = UploadFailures();
  for (const int code :
       {CURLE_COULDNT_RESOLVE_PROXY, CURLE_COULDNT_RESOLVE_HOST, CURLE_COULDNT_CONNECT,
        CURLE_PARTIAL_FILE, CURLE_SSL_CONNECT_ERROR, CURLE_GOT_NOTHING, CURLE_SEND_ERROR,
        CURLE_RECV_ERROR, CURLE_SEND_FAIL_REWIND}) {
    map[code] = AERROR::RETRY;
  }
  return map;
}
