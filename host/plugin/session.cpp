#include "host/plugin/session.h"

#include <algorithm>
#include <array>

#include "host/plugin/form_values.h"
#include "host/plugin/host_log.h"
#include "host/plugin/service_failure.h"

namespace b2drive {
namespace {

void RefuseUnverified() {
  if (!HostLog::ServersUnverified()) return;
  throw HostError(ExitCode::kNoCaBundle,
                  "the plug-in found no ../Frameworks/cacert.pem beside the program's folder and "
                  "cannot check who answers; nothing more is sent");
}

const char* NameOf(View view) {
  switch (view) {
    case View::kFiles:
      return "files";
    case View::kVersions:
      return "versions";
    case View::kUnfinished:
      return "unfinished";
  }
  return "";
}

}  // namespace

AERROR Session::Manager::GetText(const char*, char* buffer, int* size) {
  if (*size < 1) return AERROR::INSUFFICIENT_BUFFER;
  buffer[0] = '\0';
  *size = 0;
  return AERROR::SUCCESS;
}

AERROR Session::NoInteractiveSignIn::Authorize(const char*, char**) {
  return AERROR::NOT_SUPPORTED;
}

Session::Session(const PluginLibrary& library, const Account& account,
                 const SessionOptions& options)
    : protocol_(library.MakeProtocol(manager_)), drive_(*protocol_, options.view) {
  SetOptions(options);
  SetUploadOptions(options.upload_connections);
  Connect(account, options.log_bodies);
  SetPartSize();
}

void Session::SetOptions(const SessionOptions& options) {
  protocol_->SetOpt("exact_delete", "true");
  protocol_->SetOpt("delete_if_unchanged", "true");
  protocol_->SetOpt("strict_answers", "true");
  protocol_->SetOpt("find_by_name", "true");
  protocol_->SetOpt("server_copy", "keep");
  protocol_->SetOpt("hide_on_delete", options.hide ? "true" : "false");
  protocol_->SetOpt("view", NameOf(options.view));
  protocol_->SetOpt("ca_file", options.ca_file.c_str());
  protocol_->SetOpt("keep_times", "true");
  protocol_->SetOpt("file_details", options.details ? "true" : "false");
  // The plug-in's own limit stays off: it is one of each transfer.
  protocol_->SetOpt("low_speed_limit", std::to_string(SlowestShare(options.limit)).c_str());
  if (options.proxy) {
    protocol_->SetOpt("option_fields", OptionFormValues(*options.proxy).c_str());
  }
}

// A large file is hashed before it is sent, so that whoever fetches it can check it.
void Session::SetUploadOptions(int connections) {
  protocol_->SetOpt("reuse_upload_urls", "true");
  protocol_->SetOpt("resume_uploads", "true");
  protocol_->SetOpt("verify_uploads", "before");
  protocol_->SetOpt("upload_connections", std::to_string(connections).c_str());
}

// Parts as long as the service likes them would keep a file of some 100 MB on one connection, and
// lose much when one breaks. Those of a long file may be longer.
void Session::SetPartSize() {
  constexpr std::uint64_t kWanted = 16UL * 1024 * 1024;
  const std::uint64_t liked = sign_in_answer_.part_size;
  const std::uint64_t size =
      std::max(liked > 0 ? std::min(liked, kWanted) : kWanted, sign_in_answer_.smallest_part_size);
  protocol_->SetOpt("upload_part_size", std::to_string(size).c_str());
  protocol_->SetOpt("upload_part_size_max", std::to_string(4 * size).c_str());
}

std::string Session::ServiceName() {
  std::array<char, 256> name{};
  int size = name.size();
  return protocol_->GetUserInfo(name.data(), &size) == AERROR::SUCCESS ? name.data() : "";
}

void Session::Connect(const Account& account, bool log_bodies) {
  RefuseUnverified();
  // What else the sign-in says is only in its body.
  protocol_->SetOpt("verbose", "on");
  HostLog::ForgetAnswer();
  AERROR code = protocol_->Connect(&sign_in_, AccountFormValues(account).c_str());
  RefuseUnverified();
  if (code != AERROR::SUCCESS) {
    if (HostLog::LastAnswer().status == 401) {
      throw HostError(ExitCode::kSignInRefused,
                      "sign in: the service answered 401: check the application key", code);
    }
    throw ServiceFailure("sign in", code, HostLog::LastAnswer()).About("");
  }
  sign_in_answer_ = HostLog::LastSignIn();
  if (!log_bodies) protocol_->SetOpt("verbose", "off");
  // The key's ID signs in, but the calls that name an account want the account's.
  protocol_->SetOpt("access_key", account.AccountId().c_str());
}

}  // namespace b2drive
