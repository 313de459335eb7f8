#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "conform/check.h"
#include "conform/http.h"
#include "conform/process.h"

namespace conform {

using Json = nlohmann::json;

// How this process was started.
struct Settings {
  std::string plugin, emulator;  // files
  std::string folder;            // the kit's own, above bin/ and Frameworks/
};
Settings& TheSettings();

// An emulator of the case's own, steered through its control host, and another client of it. The
// module's client trusts it: its CA is in ../Frameworks beside this program.
class Service {
 public:
  // With the one bucket kBucket, and further options of b2emulator. The CA's certificate is written
  // to `ca_file`, a path below the kit's folder.
  explicit Service(const Arguments& options = {}, Text ca_file = "Frameworks/cacert.pem");

  static constexpr char kBucket[] = "bucket-one";

  static constexpr char kAccount[] = "0123456789ab";
  static constexpr char kKey[] = "SecretKeyOfTheKit";
  static constexpr char kAuthorization[] =  // the header's value with these
      "Basic MDEyMzQ1Njc4OWFiOlNlY3JldEtleU9mVGhlS2l0";
  static constexpr char kProxyUser[] = "user", kProxyPassword[] = "SecretOfTheProxy";

  const std::string& bucket() const { return bucket_; }  // kBucket's ID
  int port() const { return port_; }

  // A fault or an array of them, as the emulator's README describes.
  void Fault(const Json& fault) { Control("POST", "faults", fault.dump()); }
  // So many times; kAlways: until Heal.
  void Fail(Text call, int status, int times = 1, int skip = 0);
  void AnswerWith(Text call, Text body, int times = 1);
  static constexpr int kAlways = -1;
  void Heal() { Control("DELETE", "faults"); }

  // Requests since the last Forget, CONNECT left out; this client's are among them.
  std::vector<Json> Requests();
  // Their calls' names.
  Texts Calls();
  int Count(Text call);
  void Forget() { Control("DELETE", "requests"); }
  int UnfinishedFiles();

  // Stores a file in kBucket and gives its ID on the service.
  std::string Put(Text name, Text text);
  void Hide(Text name) { Call("b2_hide_file", {{"bucketId", bucket_}, {"fileName", name}}); }
  // IDs, newest first, hide markers among them.
  Texts Versions(Text name);
  // Its newest version, as the service describes it.
  Json Newest(Text name);
  std::string Download(Text file_id);
  // Every visible file of kBucket.
  Contents Stored();
  Texts Names();
  std::string MakeBucket(Text name);
  // Anything else. Throws std::runtime_error unless it is answered with 200.
  Json Call(Text call, const Json& body);

 private:
  HttpAnswer Send(Text method, Text url, const Headers& headers, Text body);
  Json Control(Text method, Text path, Text body = "");
  Json Files(Text call, const Json& body);

  Companion emulator_;
  int port_;
  std::string api_url_, token_, bucket_;
};

std::string Header(const Json& request, Text name);

}  // namespace conform
