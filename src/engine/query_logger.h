#pragma once

#include <memory>

#include "http/curl_rtn.h"

// Writes what a service call was answered into the host's log, at level 1 and compressed;
// decompress_string makes it readable. Without state, so one object serves many threads.
class IQueryLogger {
 public:
  virtual void DoLog(const char* name, _CURLRTN& result) = 0;
  virtual ~IQueryLogger() = default;
};

// The effective URL and the header block.
class HeaderLog : public IQueryLogger {
 public:
  void DoLog(const char* name, _CURLRTN& result) override;
};

// The effective URL and the body.
class BodyLog : public IQueryLogger {
 public:
  void DoLog(const char* name, _CURLRTN& result) override;
};

// The header block and the body, each compressed by itself.
class FullLog : public IQueryLogger {
 public:
  void DoLog(const char* name, _CURLRTN& result) override;
};

// Binds a logger to the calling thread until its next query ends; an empty pointer unbinds. The
// binding does not keep the logger alive: it belongs to the protocol object.
void BindQueryLogger(std::shared_ptr<IQueryLogger> query_logger);

// The thread's logger; empty when none is bound or it is gone.
std::shared_ptr<IQueryLogger> GetQueryLogger();

// Unbinds the calling thread's logger when its scope ends.
class __Auto_Unbind_Logger__ {
 public:
  __Auto_Unbind_Logger__() = default;
  ~__Auto_Unbind_Logger__();
  __Auto_Unbind_Logger__(const __Auto_Unbind_Logger__&) = delete;
  __Auto_Unbind_Logger__& operator=(const __Auto_Unbind_Logger__&) = delete;
};
