#pragma once

#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include "base/thread_safety.h"
#include "http/proxy_type.h"
#include "protocol/records.h"

// Lends request objects and keeps them for reuse, the latest returned first, so that a call finds a
// warm connection. Grows to the most objects that were lent at one time. For any number of threads;
// the lock covers lending and taking back, never a transfer.
template <class T>
class CURLQueue {
 public:
  using Request = T;

  virtual ~CURLQueue() = default;

  // A cleared object with the proxy settings applied. Passes on what making a new one throws.
  virtual std::shared_ptr<T> GetCURL() {
    const base::Lock lock(mutex_);
    std::shared_ptr<T> request;
    if (free_.empty()) {
      request = AllocCURL();
    } else {
      request = std::move(free_.back());
      free_.pop_back();
    }
    const int type = ProtocolUtil::curlProxyType(proxy_.type);
    if (type != 0) {
      request->SetProxy(type, proxy_.host, std::atoi(proxy_.port.c_str()), proxy_.user,
                        proxy_.password);
    }
    return request;
  }

  virtual void PutCURL(std::shared_ptr<T> request) {
    request->Clear();
    const base::Lock lock(mutex_);
    free_.push_back(std::move(request));
  }

  virtual std::shared_ptr<T> AllocCURL() { return std::shared_ptr<T>(new T); }

  // Applies to every later lending.
  void SetProxy(_PROXYINFO proxy) {
    const base::Lock lock(mutex_);
    proxy_ = std::move(proxy);
  }

 private:
  base::Mutex mutex_;
  std::vector<std::shared_ptr<T>> free_ B2_GUARDED_BY(mutex_);
  _PROXYINFO proxy_ B2_GUARDED_BY(mutex_);
};

// Gives a lent object back when its scope ends. An exception from PutCURL ends the process.
template <class T>
class AutoPutCURL {
 public:
  AutoPutCURL(CURLQueue<T>& pool, std::shared_ptr<T> request)
      : request_(std::move(request)), pool_(&pool) {}
  ~AutoPutCURL() { pool_->PutCURL(request_); }
  AutoPutCURL(const AutoPutCURL&) = delete;
  AutoPutCURL& operator=(const AutoPutCURL&) = delete;

 private:
  std::shared_ptr<T> request_;
  CURLQueue<T>* pool_;
};
