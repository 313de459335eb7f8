#pragma once

#include <functional>
#include <string_view>

#include "host/common/thread_safety.h"
#include "host/plugin/answer.h"
#include "host/plugin/body_log.h"
#include "host/plugin/sign_in_answer.h"
#include "protocol/host_interfaces.h"

namespace b2drive {

// Where the plug-in's lines go: to standard error when verbose, to the body log when there is one,
// and from each the service's answer is noted for the messages of the thread that called.
class HostLog final : public ILog {
 public:
  // `bodies` may be null and must outlive the object. Bodies never go to standard error.
  HostLog(bool verbose, BodyLog* bodies);

  void SetLevels(std::int32_t levels) override;
  // Never: libcurl's header lines hold the session's token.
  bool IsNetworkTraceEnabled() override { return false; }
  void Log(LOGLEVEL level, const char* format, std::va_list arguments) override;

  // What the service last answered on the calling thread, since the latest Forget there.
  static const Answer& LastAnswer();
  static void ForgetAnswer();
  // For a caller that ended the plug-in's call for `answer`, and not for what came of that.
  static void NoteAnswer(const Answer& answer);

  // What the service said at the latest sign-in of the calling thread, for a plug-in that logs
  // bodies.
  static const SignInAnswer& LastSignIn();

  // Whether the plug-in has said that it does not check who the servers are.
  static bool ServersUnverified();

  // Called with each answer noted on the calling thread, in the midst of the plug-in's call. An
  // empty one ends it.
  using Watcher = std::function<void(const Answer&)>;
  static void WatchAnswers(Watcher watcher);

 private:
  void Write(LOGLEVEL level, std::string_view line);

  Mutex mutex_;  // one line at a time
  std::int32_t shown_levels_ B2_GUARDED_BY(mutex_);
  BodyLog* const bodies_ B2_PT_GUARDED_BY(mutex_);
};

}  // namespace b2drive
