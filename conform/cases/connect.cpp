#include "conform/cases.h"
#include "conform/drive.h"
#include "protocol/log_lines.h"

// Signing in, and whom a module trusts.
namespace conform {
namespace {

constexpr char kAuthorize[] = "b2_authorize_account";
constexpr char kNoFields[] = R"({"values":{}})";

void ReadsForms() {
  Drive drive;
  drive.service.Forget();
  for (const char* form : {"", "[]", "no JSON", R"({"values":1})",
                           R"({"values":{"account_id":{"value":[]}}})", R"({"account_id":"a"})"}) {
    Equal(std::string("Connect ") + form, drive.Connect(form), AUTH_FAILED);
  }
  Equal("Connect without a form", drive.object->Connect(nullptr, nullptr), AUTH_FAILED);
  Equal("requests of those", drive.service.Count(kAuthorize), 0);
  const Object fresh = drive.module.NewObject();
  fresh->SetOpt("ACCESS_KEY", Service::kAccount);
  fresh->SetOpt("application_key", Service::kKey);
  Equal("with the account's options", fresh->Connect(nullptr, kNoFields), SUCCESS);
  fresh->SetOpt("connect_info", R"({"data":{"user":"x","pwd":"y"}})");
  Equal("with another's", fresh->Connect(nullptr, kNoFields), ACCESS_VIOLATION);
}

void SignsIn() {
  Drive drive;
  drive.service.Forget();
  Equal("Connect again", drive.Connect(), SUCCESS);
  const auto requests = drive.service.Requests();
  if (!Equal("requests", drive.service.Calls(), Texts{kAuthorize})) return;
  Equal("method", requests[0].at("method").get<std::string>(), "GET");
  Equal("host", requests[0].at("host").get<std::string>(), "api.backblazeb2.com");
  Equal("credentials", Header(requests[0], "Authorization"), std::string(Service::kAuthorization));
  drive.service.Forget();
  drive.Names("");
  const std::string token = Header(drive.service.Requests().at(0), "Authorization");
  True("later calls have the session's token", token != Service::kAuthorization && !token.empty());
}

void KeepsSession() {
  Drive drive;
  Equal("Connect with a wrong key", drive.Connect(AccountForm("wrong")), ACCESS_VIOLATION);
  Equal("the session of before", drive.Names(""), Texts{"bucket-one/"});
  const Object other = drive.module.NewObject();
  Equal("another object's", other->Connect(nullptr, AccountForm("wrong").c_str()),
        ACCESS_VIOLATION);
  Equal("is not this one's", drive.Names(""), Texts{"bucket-one/"});
  List list;
  True("nor this one's the other's", other->GetFileList("", &list, nullptr) != SUCCESS);
}

void ReportsOneCode() {
  Drive drive;
  for (const int status : {400, 401, 403, 404, 500, 503}) {
    drive.service.Fail(kAuthorize, status);
    Equal("Connect, answered with " + std::to_string(status), drive.Connect(), ACCESS_VIOLATION);
  }
  drive.service.Fault({{"call", kAuthorize}, {"cutAfter", 0}});
  Equal("Connect, cut off", drive.Connect(), ACCESS_VIOLATION);
  drive.service.Fail(kAuthorize, 429);
  Equal("Connect, answered with 429 once", drive.Connect(), SUCCESS);
  drive.service.AnswerWith(kAuthorize, R"({"authorizationToken":"other","downloadUrl":"x"})");
  Equal("Connect, answered in part", drive.Connect(), SUCCESS);
}

void AsksProxies() {
  const Service service(
      {"--proxy-user", Service::kProxyUser, "--proxy-password", Service::kProxyPassword});
  const Module module;
  for (const bool right : {true, false}) {
    const Object object = module.NewObject();
    object->SetOpt("option_fields", ProxyForm(service.port(), Service::kProxyUser,
                                              right ? Service::kProxyPassword : "wrong")
                                        .c_str());
    Equal(right ? "with its password" : "with a wrong one",
          object->Connect(nullptr, AccountForm().c_str()), right ? SUCCESS : ACCESS_VIOLATION);
  }
}

void TrustsNobodyElse() {
  const Service trusted;  // its CA is beside the program
  Service stranger({}, "stranger-ca.pem");
  const Module module;
  const Object object = module.NewObject();
  KeptLog log;
  module.BindLogger(&log);
  object->SetOpt("option_fields", ProxyForm(stranger.port()).c_str());
  Equal("Connect to a stranger", object->Connect(nullptr, AccountForm().c_str()), ACCESS_VIOLATION);
  Equal("requests that it got", stranger.Count(kAuthorize), 0);
  Equal("warnings", log.CountParts("Servers are not verified"), 0);
  module.UnbindLogger();
}

void TellsThatItTrustsAll() {
  const Service stranger({}, "stranger-ca.pem");
  const Module module;
  KeptLog log;
  module.BindLogger(&log);
  for (int i = 0; i < 2; ++i) {
    const Object object = module.NewObject();
    object->SetOpt("option_fields", ProxyForm(stranger.port()).c_str());
    Equal("Connect", object->Connect(nullptr, AccountForm().c_str()), SUCCESS);
  }
  True("says so at level 4", log.Has(LOGLEVEL_WARNING, log_lines::kServersNotVerified));
  Equal("how often", log.CountParts("Servers are not verified"), 1);
  module.UnbindLogger();
}

void SpeaksOnlyHttps() {
  Drive drive;
  for (const char* url : {"http://api001.backblazeb2.com", "ftp://api001.backblazeb2.com"}) {
    drive.service.AnswerWith(kAuthorize, Json{{"authorizationToken", "t"}, {"apiUrl", url}}.dump());
    Equal("Connect", drive.Connect(), SUCCESS);
    drive.service.Forget();
    List list;
    Equal(std::string("GetFileList at ") + url, drive.GetList("", list), FAILED);
    Equal("requests in the clear", drive.service.Calls(), Texts{});
  }
}

}  // namespace

std::vector<Case> ConnectCases() {
  return {{"connect.forms", ReadsForms},
          {"connect.request", SignsIn},
          {"connect.session", KeepsSession},
          {"connect.one_code", ReportsOneCode},
          {"connect.proxy", AsksProxies},
          {"connect.stranger", TrustsNobodyElse},
          {.name = "connect.no_bundle", .run = TellsThatItTrustsAll, .bare = true},
          {"connect.https", SpeaksOnlyHttps}};
}

}  // namespace conform
