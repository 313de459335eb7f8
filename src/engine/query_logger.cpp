#include "engine/query_logger.h"

#include <cstddef>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

#include "http/curl_impl.h"
#include "protocol/log.h"
#include "util/compression.h"

namespace {

constexpr int kDefaultLevel = -1;

using LoggerPointer = std::weak_ptr<IQueryLogger>;

// Holds a pointer while bound. Has no destructor, which would keep the module mapped until its
// thread ends, and needs none: every operation unbinds.
class Binding {
 public:
  void Set(LoggerPointer pointer) {
    Reset();
    std::construct_at(Pointer(), std::move(pointer));
    bound_ = true;
  }
  void Reset() {
    if (std::exchange(bound_, false)) std::destroy_at(Pointer());
  }
  std::shared_ptr<IQueryLogger> Get() { return bound_ ? Pointer()->lock() : nullptr; }

 private:
  LoggerPointer* Pointer() { return std::launder(reinterpret_cast<LoggerPointer*>(bytes_)); }

  alignas(LoggerPointer) std::byte bytes_[sizeof(LoggerPointer)] = {};
  bool bound_ = false;
};
static_assert(std::is_trivially_destructible_v<Binding>);

thread_local Binding __query_with_backoff_logger__;

std::string Compressed(const char* data, std::size_t length) {
  return compress_string(data, length, kDefaultLevel);
}

std::string CompressedWithUrl(const _CURLRTN& result, const char* data, std::size_t length) {
  std::string text = result.curl->GetEffectiveURL() + "\n\n";
  text.append(data, length);
  return "\n" + Compressed(text.data(), text.size());
}

}  // namespace

void HeaderLog::DoLog(const char* name, _CURLRTN& result) {
  ILog* const log = logger;
  if (log == nullptr || result.headerSize == 0) return;
  const std::string text = CompressedWithUrl(result, result.headerBlock.get(),
                                             static_cast<std::size_t>(result.headerSize));
  __LOG__A(log, LOGLEVEL_TRACE, "[PROTOCOL  ] %s >>%s", name, text.c_str());
}

void BodyLog::DoLog(const char* name, _CURLRTN& result) {
  ILog* const log = logger;
  if (log == nullptr || result.bodyLength == 0) return;
  const std::string text =
      CompressedWithUrl(result, result.body.get(), static_cast<std::size_t>(result.bodyLength));
  __LOG__A(log, LOGLEVEL_TRACE, "[PROTOCOL  ] %s >> %s", name, text.c_str());
}

void FullLog::DoLog(const char* name, _CURLRTN& result) {
  ILog* const log = logger;
  if (log == nullptr || (result.headerSize == 0 && result.bodyLength == 0)) return;
  std::string text;
  if (result.headerSize != 0) {
    text += Compressed(result.headerBlock.get(), static_cast<std::size_t>(result.headerSize));
  }
  if (result.bodyLength != 0) {
    text += "\n" + Compressed(result.body.get(), static_cast<std::size_t>(result.bodyLength));
  }
  __LOG__A(log, LOGLEVEL_TRACE, "[PROTOCOL  ] %s >>\n%s", name, text.c_str());
}

void BindQueryLogger(std::shared_ptr<IQueryLogger> query_logger) {
  __query_with_backoff_logger__.Set(query_logger);
}

std::shared_ptr<IQueryLogger> GetQueryLogger() { return __query_with_backoff_logger__.Get(); }

__Auto_Unbind_Logger__::~__Auto_Unbind_Logger__() { __query_with_backoff_logger__.Reset(); }
