#pragma once

#include <deque>
#include <memory>
#include <utility>

#include "engine/query_with_backoff.h"
#include "http/curl_impl.h"

// Requests that are never sent: their answers are prepared.
class FakeRequest : public CURLImpl {};

class FakePool : public CURLQueue<FakeRequest> {
 public:
  std::shared_ptr<FakeRequest> GetCURL() override {
    ++lent;
    return CURLQueue::GetCURL();
  }
  void PutCURL(std::shared_ptr<FakeRequest> request) override {
    --lent;
    CURLQueue::PutCURL(std::move(request));
  }

  int lent = 0;
};

inline _CURLRTN Answer(int status) {
  _CURLRTN result;
  result.httpCode = status;
  return result;
}

inline _CURLRTN Failure(int code) {
  _CURLRTN result;
  result.code = code;
  return result;
}

// Like ExponentialBackoff, but without the waits.
class CountingBackoff : public ExponentialBackoff {
 public:
  AERROR Backoff() override {
    ++waits;
    --left;
    return gives_up ? AERROR::FAILED : AERROR::RETRY;
  }
  bool IsAvaliable() override { return left > 0; }
  int GetLeft() override { return left; }

  int left = 5;
  static inline int waits = 0;
  static inline bool gives_up = false;
};
