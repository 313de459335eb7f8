#pragma once

#include <optional>

#include "host/plugin/account.h"
#include "host/plugin/drive.h"
#include "host/plugin/key_details.h"
#include "host/plugin/plugin_library.h"

namespace b2drive {

struct SessionOptions {
  std::optional<_PROXYINFO> proxy;
  std::optional<long long> limit_kb;  // 1024 bytes a second
  bool log_bodies = false;            // the plug-in logs every answer's body
  bool learn_key = false;             // fill Session::key
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
  // What the service said of the key; none unless it was to be learnt, and did.
  const std::optional<KeyDetails>& key() const { return key_; }
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
  void Connect(const Account& account, const SessionOptions& options);
  AERROR SignIn(const Account& account, const SessionOptions& options);

  Manager manager_;
  NoInteractiveSignIn sign_in_;
  ProtocolPtr protocol_;
  Drive drive_;
  std::optional<KeyDetails> key_;
};

}  // namespace b2drive
