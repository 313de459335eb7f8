#pragma once

#include <optional>

#include "host/plugin/account.h"
#include "host/plugin/drive.h"
#include "host/plugin/plugin_library.h"
#include "host/plugin/sign_in_answer.h"

namespace b2drive {

struct SessionOptions {
  std::optional<_PROXYINFO> proxy;
  std::int64_t limit = 0;   // bytes a second that all transfers share; 0: as they come
  bool log_bodies = false;  // the plug-in logs every answer's body
};

// One account, connected from construction to destruction. `library` must outlive it.
class Session {
 public:
  // Throws kSignInRefused, kNetwork when the service cannot be reached, or kNoCaBundle once the
  // plug-in has said that it does not check who the servers are.
  Session(const PluginLibrary& library, const Account& account, const SessionOptions& options);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  Drive& drive() { return drive_; }
  const SignInAnswer& sign_in_answer() const { return sign_in_answer_; }
  // The service's name for people.
  std::string ServiceName();

 private:
  // The plug-in asks for one text, whose use is the host's; this host has none.
  class Manager final : public IProtocolManager {
   public:
    AERROR GetText(const char* key, char* buffer, int* size) override;
  };
  class NoInteractiveSignIn final : public IProtocolAuth {
   public:
    AERROR Authorize(const char* url, char** answer) override;
  };

  void SetOptions(const SessionOptions& options);
  void Connect(const Account& account, bool log_bodies);

  Manager manager_;
  NoInteractiveSignIn sign_in_;
  ProtocolPtr protocol_;
  Drive drive_;
  SignInAnswer sign_in_answer_;
};

}  // namespace b2drive
